"""Windows 98: toolhelp, files in use that can't be renamed, names that the code page lacks."""

from .machine import Machine, ne_file
from .registry_text import binary, dword

WINDOWS = "C:\\WINDOWS\\"
SYSTEM = WINDOWS + "SYSTEM\\"
PROGRAMS = "C:\\Program Files\\"
MICROSOFT = "Microsoft Corporation"
PROGRAM = PROGRAMS + "Brackenfold\\Brackenfold.exe"
BROWSER = PROGRAMS + "Internet Explorer\\IEXPLORE.EXE"
CYRILLIC = SYSTEM + "жук.dll"
CURRENT_VERSION = "Software\\Microsoft\\Windows\\CurrentVersion\\"
MACHINE, USER = "HKEY_LOCAL_MACHINE\\", "HKEY_CURRENT_USER\\"
HELPERS = MACHINE + CURRENT_VERSION + "Explorer\\Browser Helper Objects\\"

PARASITE = dict(size=5632, content_hash=2104844698)
GOOD = dict(size=3584, content_hash=228221)

SYSTEM_PROGRAMS = {
    "KERNEL32.DLL": "Win32 Kernel core component",
    "USER32.DLL": "Win32 USER32 core component",
    "ADVAPI32.DLL": "Win32 ADVAPI32 core component",
    "SHELL32.DLL": "Windows Shell Common Dll",
    "SHDOCVW.DLL": "Shell Doc Object and Control Library",
    "MSHTML.DLL": "Microsoft (R) HTML Viewer",
    "URLMON.DLL": "OLE32 Extensions for Win32",
    "MSGSRV32.EXE": "Windows 32-bit VxD Message Server",
    "MPREXE.EXE": "WIN32 Network Interface Service Process",
    "SYSTRAY.EXE": "System Tray Applet",
    "POWRPROF.DLL": "Power Profile Helper DLL",
}
HELPER_CLASSES = {
    "{B6A0D4C1-2F93-4E57-9C08-71D5E3A4F682}": PROGRAMS + "Quickbar\\QUICKBAR.DLL",
    "{0F7E52D8-C3B1-4A96-8E24-D90B6A1C7F35}": SYSTEM + "MSXMIDI.DLL",
    "{6A91C0E7-5D42-4F8B-B3E6-2C07F9D8A154}": CYRILLIC,
    "{D3F84B16-A70C-4E29-92D5-8B1E6F0C4A73}": SYSTEM + "NOBODY.DLL",
}


def _add_files(machine):
    for name, description in SYSTEM_PROGRAMS.items():
        machine.add_program(SYSTEM + name, MICROSOFT, description, version="4.10.0.2222")
    machine.add_program(SYSTEM + "MMTASK.TSK", MICROSOFT, "Multimedia background task support",
                        version="4.10.0.1998", form=ne_file)
    for name, description in (("EXPLORER.EXE", "Windows Explorer"),
                              ("TASKMON.EXE", "Task Monitor"), ("RUNDLL32.EXE", "Run a DLL")):
        machine.add_program(WINDOWS + name, MICROSOFT, description, version="4.72.3110.1")
    machine.add_program(BROWSER, MICROSOFT, "Internet Explorer", version="5.50.4134.600")
    machine.add_program(PROGRAM, "Tarnwick Labs", "Brackenfold", version="4.53.0.0")
    machine.add_program(PROGRAMS + "Brackenfold\\BKFDCustom.dll", "Tarnwick Labs",
                        "Brackenfold custom component", version="4.53.0.0")
    machine.add_program(PROGRAMS + "Quickbar\\QUICKBAR.DLL", "Quickbar Software", "Quickbar")
    machine.add_program("C:\\PRINTER\\SPOOLMAN.EXE", "Fernhill Printing", "Spool Manager",
                        form=ne_file)

    # Parasites in use: they can't be renamed before their holders end.
    machine.add_program(SYSTEM + "MSXMIDI.DLL", locked=True)
    machine.add_program(WINDOWS + "SYSMON32.EXE", locked=True)
    machine.add_program(SYSTEM + "WINPROT.DLL", locked=True, attributes=0x27, **PARASITE)
    machine.add_program(CYRILLIC)
    # Locked and held by no process of the list: never can be renamed.
    machine.add_program(SYSTEM + "NOBODY.DLL", locked=True)
    # 16-bit without a company, by the suffix rule; and a known good file that only looks so.
    machine.add_program(WINDOWS + "DIAL32.EXE", description="Dialler", form=ne_file)
    machine.add_program(WINDOWS + "CLOCK32.EXE", **GOOD)
    machine.add_text(WINDOWS + "hosts", "127.0.0.1 localhost\n203.0.113.9 www.msn.com\n")
    machine.add_text(SYSTEM + "BLANK.HTM", "<HTML></HTML>\n")
    machine.add_text(WINDOWS + "TEMP\\SETUP.LOG", "Setup completed.\n")


def _add_processes(machine):
    def modules(*names):
        return [SYSTEM + name for name in ("KERNEL32.DLL",) + names]

    machine.add_process(4291886473, SYSTEM + "KERNEL32.DLL")
    machine.add_process(4294953933, SYSTEM + "MSGSRV32.EXE", modules())
    machine.add_process(4294944349, SYSTEM + "MPREXE.EXE", modules("ADVAPI32.DLL"))
    machine.add_process(4294906377, SYSTEM + "MMTASK.TSK")
    machine.add_process(4294917181, WINDOWS + "EXPLORER.EXE", modules(
        "USER32.DLL", "SHELL32.DLL", "SHDOCVW.DLL", "WINPROT.DLL"))
    machine.add_process(4294850765, SYSTEM + "SYSTRAY.EXE", modules("USER32.DLL"))
    machine.add_process(4294862873, WINDOWS + "SYSMON32.EXE", modules("URLMON.DLL"))
    machine.add_process(4294875001, WINDOWS + "CLOCK32.EXE", modules("USER32.DLL"))
    machine.add_process(4294885217, WINDOWS + "DIAL32.EXE", modules())
    machine.add_process(4294822317, BROWSER, modules(
        "USER32.DLL", "SHDOCVW.DLL", "URLMON.DLL", "MSHTML.DLL", "MSXMIDI.DLL")
        + [PROGRAMS + "Quickbar\\QUICKBAR.DLL"])
    machine.add_process(4294801589, PROGRAM, modules("USER32.DLL"), self=True)


def _registry():
    run = CURRENT_VERSION + "Run"
    keys = {
        MACHINE + run: {
            "SystemTray": "SysTray.Exe",
            "TaskMonitor": WINDOWS + "taskmon.exe",
            "LoadPowerProfile": "Rundll32.exe powrprof.dll,LoadCurrentPwrScheme",
            "Spool Manager": "C:\\PRINTER\\SPOOLMAN.EXE /b",
            "Clock": "CLOCK32.EXE",
            "Monitor": "C:\\WINDOWS\\SYSMON32.EXE",
        },
        USER + run: {"Жук": CYRILLIC},
        MACHINE + CURRENT_VERSION + "RunServices": {"Monitor": "sysmon32.exe -service"},
    }
    for class_id, server in HELPER_CLASSES.items():
        keys[HELPERS + class_id] = {}
        keys[f"HKEY_CLASSES_ROOT\\CLSID\\{class_id}\\InProcServer32"] = {
            "": server, "ThreadingModel": "Apartment"}
    return keys


def _browser_settings():
    main = "Software\\Microsoft\\Internet Explorer\\Main"
    url = MACHINE + CURRENT_VERSION + "URL\\"
    return {
        USER + main: {"Start Page": "http://start.example/", "Local Page": WINDOWS + "hp.htm"},
        MACHINE + main: {"Start Page": "http://start.example/",
                         "Local Page": SYSTEM + "blank.htm"},
        MACHINE + "Software\\Microsoft\\Internet Explorer": {"Version": "5.50.4134.0600"},
        MACHINE + "Software\\Microsoft\\Internet Explorer\\AboutURLs": {
            "blank": "file://C:\\WINDOWS\\hp.htm"},
        url + "DefaultPrefix": {"": "http://start.example/?"},
        url + "Prefixes": {"www": "http://", "ftp": "ftp://"},
        USER + "Software\\Microsoft\\Internet Explorer\\Styles": {"Use My Stylesheet": dword(0)},
        USER + "Software\\Microsoft\\Internet Explorer\\Toolbar": {"Theater": binary("0c000000")},
        "HKEY_CLASSES_ROOT\\PROTOCOLS\\Handler\\about": {
            "CLSID": "{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"},
        "HKEY_CLASSES_ROOT\\CLSID\\{3050F406-98B5-11CF-BB82-00AA00BDCE0B}\\InProcServer32": {
            "": SYSTEM + "mshtml.dll"},
    }


def build():
    machine = Machine(
        family="9x", version=[4, 10], build=2222, servicePack=" A ", codePage=1252,
        environment={"windir": "C:\\WINDOWS", "winbootdir": "C:\\WINDOWS",
                     "PATH": "C:\\WINDOWS;C:\\WINDOWS\\COMMAND", "TEMP": "C:\\WINDOWS\\TEMP",
                     "TMP": "C:\\WINDOWS\\TEMP"},
        programFolder="C:\\Program Files\\Brackenfold",
        now="2001-11-05T19:12:30", uptimeMs=1821000)
    _add_files(machine)
    _add_processes(machine)
    machine.add_registry("1-windows.reg", "5.00 UTF-8", _registry())
    machine.add_registry("2-browser.reg", "REGEDIT4", _browser_settings())
    return machine
