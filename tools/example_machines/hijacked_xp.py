"""Windows XP after a bad month: at least one case of each rule, and of each exemption."""

from . import windows_xp as xp
from .registry_text import dword, expand

SYSTEM, WINDOWS, PROGRAMS = xp.SYSTEM, xp.WINDOWS, xp.PROGRAMS

# Sizes and content hashes that stand in the signature lists.
PARASITE = dict(size=2560, content_hash=12649235)
PARASITE_WITH_COMPANY = dict(size=2645, content_hash=522891)
GOOD_CLOCK = dict(size=3584, content_hash=1612267)
GOOD_TOOL = dict(size=4608, content_hash=4108130)
GOOD_HELPER = dict(size=5120, content_hash=5485141)

ADOBE = PROGRAMS + "Adobe\\Acrobat 6.0\\Reader\\ActiveX\\"
CLOCK = PROGRAMS + "Tray Clock\\clock.exe"
FOLDER_TOOL = PROGRAMS + "Folder Tools\\fold32.exe"
CYRILLIC = SYSTEM + "обновление.exe"
HIDDEN = 0x27  # read-only, hidden, system, archive

# (class identifier, name, server value, server key): each helper object in its own plight.
HELPERS = [
    # Sound: the file names a company.
    (xp.QUICKBAR_CLASS, None, xp.QUICKBAR, "InProcServer32"),
    # Exempt by their file names.
    ("{06849E9F-C8D7-4D59-B87D-784B7D6BE0B3}", "AcroIEHlprObj Class",
     ADOBE + "AcroIEHelper.ocx", "InProcServer32"),
    ("{7D2B5A31-4E90-4B6C-A1F8-3C9D0E5B6714}", None,
     PROGRAMS + "Common Files\\PCShared\\NMIEHelp.dll", "InProcServer32"),
    # Suspicious, yet no parasite.
    ("{AE7CD045-E861-484F-8273-0445EE161910}", None, ADOBE + "AcroIEFavClient.dll",
     "InProcServer32"),
    # Sound, with an out-of-process server only, and with a name that has two & in it.
    ("{5F3A9C72-0B1D-4E86-97C4-D28E61B0A543}", "Reader && Notes",
     '"' + PROGRAMS + 'Notes\\notes.exe" -Embedding', "LocalServer32"),
    # Parasites: no version record, a record without a company, and one file registered twice.
    ("{E0103CD4-D1CE-411A-B75B-4FEC072867F4}", None, SYSTEM + "hpjk.dll", "InProcServer32"),
    ("{9B71D2E4-6C08-4A3F-8D15-E4F720C69B83}", "Search Assistant",
     expand("%SystemRoot%\\system32\\srchast.dll"), "InProcServer32"),
    ("{1A64F7B0-3E59-4C82-B0D7-95A8C3E2F160}", None, SYSTEM + "hpjk.dll", "InProcServer32"),
    # A parasite whose file is gone, and two registrations without any file.
    ("{C8D51E93-72A4-4B06-8E3F-1D90B7F4A265}", None, SYSTEM + "gone.dll", "InProcServer32"),
    ("{4D0E8A26-B5F1-4739-A6C2-0F83D9E7B512}", "Left Over", "", "InProcServer32"),
    ("{F2937B4C-05D8-4E61-93AB-C7E16D80F429}", None, None, None),
    # A known good file: the registration goes, the file stays.
    ("{83C6F0A5-1D7E-4B92-AF34-6E2B90D8C701}", None, PROGRAMS + "Old Helper\\oldhelp.dll",
     "InProcServer32"),
]
PARASITE_CLASS = "{E0103CD4-D1CE-411A-B75B-4FEC072867F4}"


def _helper_keys():
    keys = {}
    for class_id, name, server, server_key in HELPERS:
        keys[f"{xp.HELPERS}\\{class_id}"] = {} if name is None else {"": name}
        if server_key is not None:
            keys[xp.class_key(class_id, server_key)] = {"": server}
    keys[xp.HELPERS + "\\{4AA-BAD}"] = {"": "Not a class identifier"}
    return keys


def _add_files(machine):
    machine.add_program(ADOBE + "AcroIEHelper.ocx")
    machine.add_program(ADOBE + "AcroIEFavClient.dll")
    machine.add_program(PROGRAMS + "Common Files\\PCShared\\NMIEHelp.dll")
    machine.add_program(PROGRAMS + "Notes\\notes.exe", "Larkspur Software", "Reader and Notes")
    machine.add_program(PROGRAMS + "Old Helper\\oldhelp.dll", description="Old helper",
                        **GOOD_HELPER)
    machine.add_program(CLOCK, description="Tray Clock", **GOOD_CLOCK)
    machine.add_program(FOLDER_TOOL, **GOOD_TOOL)
    machine.add_program(PROGRAMS + "Screen Ruler\\ruler.dll", description="Screen Ruler")
    machine.add_program(PROGRAMS + "Sound Panel\\panel.exe", "Fernhill Audio", "Sound Panel")

    machine.add_program(PROGRAMS + "Wardwell\\guard.exe", "Wardwell Security", "Guard")

    machine.add_program(SYSTEM + "hpjk.dll", attributes=HIDDEN)
    machine.add_program(SYSTEM + "srchast.dll", description="Search Assistant",
                        product="Search Assistant")
    machine.add_program(SYSTEM + "winhook.dll", attributes=HIDDEN, **PARASITE)
    machine.add_program(SYSTEM + "msupdt.dll", xp.MICROSOFT, "Update Helper",
                        **PARASITE_WITH_COMPANY)
    # A listed size alone is no verdict.
    machine.add_program(SYSTEM + "netcfg2.dll", "Fernhill Audio", "Network setup", size=2560)
    machine.add_program(SYSTEM + "msnav32.exe")
    machine.add_program(SYSTEM + "se.dll")
    machine.add_program(WINDOWS + "winsrvhp.exe")
    machine.add_program(WINDOWS + "dormant.exe")
    machine.add_program(xp.TEMPORARY + "~upd7.tmp")
    machine.add_program(CYRILLIC)
    machine.add_text(WINDOWS + "hpstat.txt", "1\n")
    machine.add_text(WINDOWS + "web\\hp.css", "body { behavior: url(#default#homePage); }\n")
    machine.add_text(SYSTEM + "drivers\\etc\\hosts", (
        "127.0.0.1       localhost\n"
        "198.51.100.7    www.google.com\n"
        "198.51.100.7    search.msn.com\n"
        "198.51.100.7    auto.search.msn.com\n"))


def _add_processes(machine):
    xp.add_system_processes(machine)
    machine.add_process(1480, xp.EXPLORER, xp.SHELL_MODULES + [
        SYSTEM + "winhook.dll", WINDOWS + "hpstat.txt:hp.dll", PROGRAMS + "Screen Ruler\\ruler.dll"])
    machine.add_process(1612, SYSTEM + "ctfmon.exe", xp.system_modules("user32.dll"))
    machine.add_process(1620, CLOCK, xp.system_modules("user32.dll"))
    machine.add_process(1632, FOLDER_TOOL, xp.system_modules("user32.dll", "shell32.dll"))
    machine.add_process(1644, "C:\\WINDOWS\\WINSRVHP.EXE", xp.system_modules("user32.dll"))
    machine.add_process(1652, SYSTEM + "msnav32.exe", xp.system_modules("urlmon.dll"))
    machine.add_process(1660, CYRILLIC, xp.system_modules("urlmon.dll"))
    machine.add_process(1668, xp.TEMPORARY + "~upd7.tmp", xp.system_modules())
    machine.add_process(1676, SYSTEM + "rundll32.exe",
                        xp.system_modules() + [SYSTEM + "netcfg2.dll"])
    machine.add_process(1700, xp.BROWSER, xp.BROWSER_MODULES + [
        SYSTEM + "hpjk.dll", SYSTEM + "se.dll", SYSTEM + "msupdt.dll",
        ADOBE + "AcroIEHelper.ocx"])
    machine.add_process(1888, xp.PROGRAM, xp.system_modules("user32.dll"), self=True)
    machine.add_process(1904, PROGRAMS + "Wardwell\\guard.exe", denied=True)


def _startup_keys():
    once = {"Finish": SYSTEM + "msnav32.exe /once"}
    policies = xp.CURRENT_VERSION + "policies\\Explorer\\Run"
    return {
        xp.MACHINE_RUN: {
            "SoundPanel": '"' + PROGRAMS + 'Sound Panel\\panel.exe" /tray',
            "Service Host": "winsrvhp.exe -k",  # a bare name, found on the search path
            "Dormant": WINDOWS + "dormant.exe",
            "Update": CYRILLIC,
            "Network": "rundll32 netcfg2.dll,Start",
            "Empty": "",
            "Tray Clock": CLOCK,
        },
        xp.USER_RUN: {"CTFMON.EXE": SYSTEM + "ctfmon.exe",
                      "MSMSGS": '"' + PROGRAMS + 'Messenger\\msmsgs.exe" /background'},
        "HKEY_LOCAL_MACHINE\\" + xp.CURRENT_VERSION + "RunOnce": once,
        "HKEY_CURRENT_USER\\" + xp.CURRENT_VERSION + "RunOnce": once,
        "HKEY_LOCAL_MACHINE\\" + policies: {"1": expand("%windir%\\winsrvhp.exe"), "2": ""},
        "HKEY_CURRENT_USER\\" + policies: {"panel": PROGRAMS + "Sound Panel\\panel.exe"},
    }


def _hijacked_settings():
    settings = xp.browser_settings()
    user_main = settings["HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main"]
    user_main |= {"Start Page": "res://hpjk.dll/sp.html#29126", "FirstHomePage": "about:blank",
                  "Search Page": "http://search.example/?q=", "Search Bar": "res://hpjk.dll/sb.html",
                  "Local Page": "C:\\WINDOWS\\web\\hp.htm",
                  "Default_Page_URL": "http://search.example/"}
    machine_main = settings["HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Internet Explorer\\Main"]
    machine_main |= {"Start Page": "http://search.example/", "Local Page": "C:\\WINDOWS\\web\\hp.htm",
                     "Default_Page_URL": "http://search.example/"}
    settings["HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Internet Explorer\\AboutURLs"]["blank"] = (
        "res://hpjk.dll/blank.html")
    settings["HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Styles"] = {
        "Use My Stylesheet": dword(1), "User Stylesheet": "C:\\WINDOWS\\web\\hp.css"}
    url = f"HKEY_LOCAL_MACHINE\\SOFTWARE\\{xp.CURRENT_VERSION[9:]}URL\\"
    settings[url + "DefaultPrefix"] = {"": "http://search.example/go?"}
    settings[url + "Prefixes"] = xp.PREFIXES | {"www": "http://search.example/go?www="}
    settings["HKEY_CURRENT_USER\\Software\\Policies\\Microsoft\\Internet Explorer"
             "\\Control Panel"] = {"HomePage": dword(1), "ResetWebSettings": dword(1)}
    # A search site among the trusted ones, which only the support report shows.
    settings[f"HKEY_CURRENT_USER\\Software\\{xp.CURRENT_VERSION[9:]}Internet Settings\\ZoneMap"
             "\\Domains\\search.example"] = {"*": dword(2)}
    return settings


def build():
    machine = xp.machine()
    _add_files(machine)
    _add_processes(machine)
    machine.add_registry("10-windows.reg", "5.00 UTF-16", _startup_keys() | {
        "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows": {
            "AppInit_DLLs": "winhook.dll WBSYS.DLL"}})
    machine.add_registry("20-helpers.reg", "5.00 UTF-8 BOM", _helper_keys())
    machine.add_registry("30-browser.reg", "REGEDIT4", _hijacked_settings())
    machine.add_registry("40-protocols.reg", "5.00 UTF-8", xp.protocol_handlers(
        about=PARASITE_CLASS, http=PARASITE_CLASS) | {
            "HKEY_CLASSES_ROOT\\PROTOCOLS\\Filter\\text/html": {"CLSID": PARASITE_CLASS},
            "HKEY_CLASSES_ROOT\\PROTOCOLS\\Filter\\text/plain": {"CLSID": PARASITE_CLASS}})
    return machine
