"""Windows XP without anything to find."""

from . import windows_xp as xp
from .registry_text import multi


def build():
    machine = xp.machine()
    xp.add_system_processes(machine)
    machine.add_process(1480, xp.EXPLORER, xp.SHELL_MODULES)
    machine.add_process(1612, xp.SYSTEM + "ctfmon.exe", xp.system_modules("user32.dll"))
    machine.add_process(1700, xp.BROWSER, xp.BROWSER_MODULES)
    machine.add_process(1888, xp.PROGRAM, xp.system_modules("user32.dll"), self=True)
    machine.add_text(xp.SYSTEM + "drivers\\etc\\hosts", "127.0.0.1       localhost\n")

    machine.add_registry("10-windows.reg", "5.00 UTF-16", {
        xp.MACHINE_RUN: {},
        xp.USER_RUN: {"CTFMON.EXE": "C:\\WINDOWS\\system32\\ctfmon.exe",
                      "MSMSGS": '"' + xp.PROGRAMS + 'Messenger\\msmsgs.exe" /background'},
        xp.HELPERS + "\\" + xp.QUICKBAR_CLASS: {},
        xp.class_key(xp.QUICKBAR_CLASS): {"": xp.QUICKBAR, "ThreadingModel": "Apartment"},
        "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows": {
            "AppInit_DLLs": ""},
        "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager": {
            "BootExecute": multi("autocheck autochk *")},
    })
    machine.add_registry("20-browser.reg", "REGEDIT4", xp.browser_settings())
    machine.add_registry("30-protocols.reg", "5.00 UTF-8", xp.protocol_handlers())
    return machine
