"""A sound Windows XP, service pack 2, with a handful of its programs: what the XP examples share."""

from .machine import Machine
from .registry_text import dword, expand

WINDOWS = "C:\\WINDOWS\\"
SYSTEM = WINDOWS + "system32\\"
PROGRAMS = "C:\\Program Files\\"
PROFILE = "C:\\Documents and Settings\\Kit\\"
TEMPORARY = PROFILE + "Local Settings\\Temp\\"
MICROSOFT = "Microsoft Corporation"

EXPLORER = WINDOWS + "explorer.exe"
BROWSER = PROGRAMS + "Internet Explorer\\iexplore.exe"
PROGRAM = PROGRAMS + "Brackenfold\\Brackenfold.exe"
QUICKBAR = PROGRAMS + "Quickbar\\quickbar.dll"

SYSTEM_PROGRAMS = {
    "smss.exe": "Windows NT Session Manager",
    "csrss.exe": "Client Server Runtime Process",
    "winlogon.exe": "Windows NT Logon Application",
    "services.exe": "Services and Controller app",
    "lsass.exe": "LSA Shell (Export Version)",
    "svchost.exe": "Generic Host Process for Win32 Services",
    "spoolsv.exe": "Spooler SubSystem App",
    "ctfmon.exe": "CTF Loader",
    "rundll32.exe": "Run a DLL as an App",
    "ntdll.dll": "NT Layer DLL",
    "kernel32.dll": "Windows NT BASE API Client DLL",
    "user32.dll": "Windows XP USER API Client DLL",
    "advapi32.dll": "Advanced Windows 32 Base API",
    "ole32.dll": "Microsoft OLE for Windows",
    "shell32.dll": "Windows Shell Common Dll",
    "browseui.dll": "Shell Browser UI Library",
    "shdocvw.dll": "Shell Doc Object and Control Library",
    "urlmon.dll": "OLE32 Extensions for Win32",
    "mshtml.dll": "Microsoft (R) HTML Viewer",
}


def system_modules(*names):
    return [SYSTEM + name for name in ("ntdll.dll", "kernel32.dll") + names]


SHELL_MODULES = system_modules("user32.dll", "advapi32.dll", "ole32.dll", "shell32.dll",
                               "browseui.dll", "shdocvw.dll")
BROWSER_MODULES = system_modules("user32.dll", "ole32.dll", "shdocvw.dll", "urlmon.dll",
                                 "mshtml.dll") + [QUICKBAR]


def machine():
    """Facts and files; processes and registry are each example's own."""
    result = Machine(
        family="nt", version=[5, 1], build=2600, servicePack="Service Pack 2", codePage=1252,
        environment={
            "windir": "C:\\WINDOWS", "SystemRoot": "C:\\WINDOWS",
            "ProgramFiles": "C:\\Program Files",
            "Path": "C:\\WINDOWS\\system32;C:\\WINDOWS;C:\\WINDOWS\\System32\\Wbem",
            "TEMP": TEMPORARY[:-1], "TMP": TEMPORARY[:-1], "USERNAME": "Kit"},
        programFolder="C:\\Program Files\\Brackenfold",
        now="2005-03-14T10:26:00", uptimeMs=5025000)
    version = "5.1.2600.2180"
    for name, description in SYSTEM_PROGRAMS.items():
        result.add_program(SYSTEM + name, MICROSOFT, description, version=version)
    result.add_program(EXPLORER, MICROSOFT, "Windows Explorer", version="6.0.2900.2180")
    result.add_program(BROWSER, MICROSOFT, "Internet Explorer", version="6.0.2900.2180")
    result.add_program(PROGRAMS + "Messenger\\msmsgs.exe", MICROSOFT, "Messenger",
                       version="4.7.0.3000")
    result.add_program(QUICKBAR, "Quickbar Software", "Quickbar for Internet Explorer",
                       product="Quickbar", version="2.1.0.7")
    result.add_program(PROGRAM, "Tarnwick Labs", "Brackenfold", version="4.53.0.0")
    result.add_program(PROGRAMS + "Brackenfold\\BKFDCustom.dll", "Tarnwick Labs",
                       "Brackenfold custom component", version="4.53.0.0")
    result.add_text(SYSTEM + "blank.htm", "<HTML></HTML>\n")
    result.add_text(TEMPORARY + "setup.log", "Setup completed.\n")
    return result


def add_system_processes(result):
    """The processes that every logged-on Windows XP shows, in the forms in which it names them."""
    result.add_process(0, "System Idle Process", denied=True)
    result.add_process(4, "System", denied=True)
    result.add_process(540, "\\SystemRoot\\System32\\smss.exe", [SYSTEM + "ntdll.dll"])
    result.add_process(596, "\\??\\C:\\WINDOWS\\system32\\csrss.exe", system_modules("user32.dll"))
    result.add_process(620, "\\??\\C:\\WINDOWS\\system32\\winlogon.exe",
                       system_modules("user32.dll", "advapi32.dll"))
    result.add_process(664, SYSTEM + "services.exe", system_modules("advapi32.dll"))
    result.add_process(676, SYSTEM + "lsass.exe", system_modules("advapi32.dll"))
    result.add_process(844, SYSTEM + "svchost.exe", system_modules("advapi32.dll", "ole32.dll"))
    result.add_process(1248, SYSTEM + "spoolsv.exe", system_modules("advapi32.dll"))


CURRENT_VERSION = "Software\\Microsoft\\Windows\\CurrentVersion\\"
USER_RUN = "HKEY_CURRENT_USER\\" + CURRENT_VERSION + "Run"
MACHINE_RUN = "HKEY_LOCAL_MACHINE\\" + CURRENT_VERSION + "Run"
HELPERS = "HKEY_LOCAL_MACHINE\\" + CURRENT_VERSION + "Explorer\\Browser Helper Objects"
QUICKBAR_CLASS = "{2C4E6B10-8D7A-4F3B-9E51-7A60C2D81F34}"
MSHTML_CLASS = "{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"
URLMON_CLASSES = {
    "file": "{79eac9e7-baf9-11ce-8c82-00aa004ba90b}",
    "ftp": "{79eac9e3-baf9-11ce-8c82-00aa004ba90b}",
    "gopher": "{79eac9e4-baf9-11ce-8c82-00aa004ba90b}",
    "http": "{79eac9e2-baf9-11ce-8c82-00aa004ba90b}",
    "https": "{79eac9e5-baf9-11ce-8c82-00aa004ba90b}",
    "local": "{79eac9e7-baf9-11ce-8c82-00aa004ba90b}",
}
PREFIXES = {"ftp": "ftp://", "gopher": "gopher://", "home": "http://", "mosaic": "http://",
            "www": "http://"}


def class_key(class_id, server="InProcServer32"):
    return f"HKEY_CLASSES_ROOT\\CLSID\\{class_id}\\{server}"


def protocol_handlers(about=MSHTML_CLASS, **changed):
    """The handlers of the built-in protocols and the classes that serve them."""
    keys = {"HKEY_CLASSES_ROOT\\PROTOCOLS\\Handler\\about": {"CLSID": about}}
    for protocol, class_id in URLMON_CLASSES.items():
        keys[f"HKEY_CLASSES_ROOT\\PROTOCOLS\\Handler\\{protocol}"] = {
            "CLSID": changed.get(protocol, class_id)}
    keys[class_key(MSHTML_CLASS)] = {"": expand("%SystemRoot%\\system32\\mshtml.dll"),
                                     "ThreadingModel": "Apartment"}
    for class_id in sorted(set(URLMON_CLASSES.values())):
        keys[class_key(class_id)] = {"": "C:\\WINDOWS\\system32\\urlmon.dll"}
    return keys


def browser_settings():
    """What a browser that nobody has changed is set to."""
    main = "Software\\Microsoft\\Internet Explorer\\Main"
    return {
        "HKEY_CURRENT_USER\\" + main: {
            "Start Page": "http://www.google.com/", "Local Page": "C:\\WINDOWS\\system32\\blank.htm",
            "Show_StatusBar": "yes"},
        "HKEY_LOCAL_MACHINE\\" + main: {
            "Start Page": "http://www.microsoft.com/isapi/redir.dll?prd=ie&pver=6&ar=msnhome",
            "Default_Page_URL":
                "http://www.microsoft.com/isapi/redir.dll?prd=ie&pver=6&ar=msnhome",
            "Local Page": expand("%SystemRoot%\\system32\\blank.htm")},
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Internet Explorer": {"Version": "6.0.2900.2180"},
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Internet Explorer\\AboutURLs": {
            "blank": "res://mshtml.dll/blank.htm", "PostNotCached": "res://mshtml.dll/repost.htm"},
        "HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Styles": {
            "Use My Stylesheet": dword(0)},
        f"HKEY_LOCAL_MACHINE\\SOFTWARE\\{CURRENT_VERSION[9:]}URL\\DefaultPrefix": {"": "http://"},
        f"HKEY_LOCAL_MACHINE\\SOFTWARE\\{CURRENT_VERSION[9:]}URL\\Prefixes": PREFIXES,
    }
