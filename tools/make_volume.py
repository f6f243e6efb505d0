#!/usr/bin/python3
"""Makes a Windows volume of a machine image: the disk as that machine would have it.

    tools/make_volume.py IMAGE FOLDER    FOLDER is made; it must not be there

Hives are written by libhivex, whose names are ASCII here. No foreign tool writes the 95 family's
SYSTEM.DAT and USER.DAT, so those are written by this one; `cregexport` reads them. What runs on the
machine, but no place of its registry starts, gets one: a program a service, or on the 95 family a
name in WIN.INI, a module a delay-load object of the shell. A name that the host's files can't have
stays as the image spells it.
"""
import json
import os
import pathlib
import re
import shutil
import struct
import sys

SZ, EXPAND_SZ, BINARY, DWORD = 1, 2, 3, 4
ROOTS = {"HKLM": "HKEY_LOCAL_MACHINE", "HKCU": "HKEY_CURRENT_USER", "HKU": "HKEY_USERS",
         "HKCR": "HKEY_CLASSES_ROOT"}
SID = "S-1-5-21-1123561945-839522115-1801674531-1003"
# Modules of the shell and the browser that Windows itself loads.
SYSTEM_MODULES = {"ntdll.dll", "kernel32.dll", "user32.dll", "advapi32.dll", "ole32.dll", "shell32.dll",
                  "browseui.dll", "shdocvw.dll", "urlmon.dll", "mshtml.dll", "gdi32.dll"}
# Programs that a start of Windows has anyway.
STARTED_ANYWAY = {"iexplore.exe", "explorer.exe", "kernel32.dll", "msgsrv32.exe", "mprexe.exe", "mmtask.tsk",
                  "smss.exe", "csrss.exe", "winlogon.exe", "services.exe", "lsass.exe"}


# FILETIME of 2004-05-06 07:08:09 and of the same time a day later, in UTC.
MACHINE_WRITTEN, USER_WRITTEN = 127283008890000000, 127283872890000000


class Key:
    """A registry key; names ignore case, and keep the one that they came with."""

    def __init__(self, name=""):
        self.name, self.keys, self.values = name, {}, {}

    def at(self, path):
        key = self
        for name in filter(None, path.split("\\")):
            key = key.keys.setdefault(name.lower(), Key(name))
        return key

    def find(self, path):
        key = self
        for name in filter(None, path.split("\\")):
            key = key.keys.get(name.lower())
            if key is None:
                return None
        return key

    def take(self, path):
        """Takes the key out of the tree; an empty one if it isn't there."""
        above, _, name = path.rpartition("\\")
        parent = self.find(above)
        return Key(name) if parent is None else parent.keys.pop(name.lower(), Key(name))

    def put(self, name, kind, data):
        self.values[name.lower()] = (name, kind, data)

    def text(self, name, text, kind=SZ):
        self.put(name, kind, (text + "\0").encode("utf-16-le"))


# ---------------------------------------------------------------- export files

def unquoted(text):
    return re.sub(r"\\(.)", r"\1", text)


def read_value(text, is_regedit4, codec):
    """Type and data of what stands behind the equals sign."""
    if text.startswith('"'):
        return SZ, (unquoted(text[1:-1]) + "\0").encode("utf-16-le")
    if text.startswith("dword:"):
        return DWORD, struct.pack("<I", int(text[6:], 16))
    match = re.fullmatch(r"hex(?:\(([0-9a-f]+)\))?:([0-9a-f, ]*)", text)
    if match is None:
        raise SystemExit(f"not a value: {text}")
    kind = int(match[1], 16) if match[1] else BINARY
    data = bytes.fromhex(match[2].replace(",", " "))
    if is_regedit4 and kind in (2, 7):
        data = data.decode(codec).encode("utf-16-le")
    return kind, data


def read_export(path, root, codec):
    raw = path.read_bytes()
    is_regedit4 = raw.startswith(b"REGEDIT4")
    text = raw.decode("utf-16" if raw[:2] == b"\xff\xfe" else codec if is_regedit4 else "utf-8-sig")
    text = re.sub(r"\\\r?\n\s*", "", text)
    key = None
    for line in text.splitlines()[1:]:
        if line.startswith("["):
            first, _, below = line.strip()[1:-1].partition("\\")
            key = root.at(ROOTS.get(first, first) + "\\" + below)
        elif line.startswith(("@=", '"')):
            match = re.match(r'@=|"((?:[^"\\]|\\.)*)"=', line)
            kind, data = read_value(line[match.end():].strip(), is_regedit4, codec)
            key.put(unquoted(match[1] or ""), kind, data)


# ---------------------------------------------------------------- registry files

def write_hive(path, tree):
    """Writes a tree with libhivex, from the smallest hive that there is."""
    import hivex  # Debian's python3-hivex

    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(empty_hive())
    hive = hivex.Hivex(str(path), write=True)

    def fill(node, key):
        hive.node_set_values(node, [{"key": name, "t": kind, "value": data}
                                    for name, kind, data in key.values.values()])
        for below in key.keys.values():
            fill(hive.node_add_child(node, below.name), below)

    fill(hive.root(), tree)
    hive.commit(None)
    stamp_keys(path, USER_WRITTEN if path.name == "NTUSER.DAT" else MACHINE_WRITTEN)


def stamp_keys(path, time):
    """Gives all keys of a hive the time of their last change, which libhivex leaves out."""
    hive = bytearray(path.read_bytes())
    at = 0x1000
    while hive[at:at + 4] == b"hbin":
        end = at + struct.unpack_from("<I", hive, at + 8)[0]
        at += 0x20
        while at < end:
            size = struct.unpack_from("<i", hive, at)[0]
            if size < 0 and hive[at + 4:at + 6] == b"nk":
                struct.pack_into("<Q", hive, at + 8, time)
            at += abs(size)
    path.write_bytes(hive)


def empty_hive():
    """A hive of version 1.3 with a root and its security descriptor."""
    descriptor = bytes.fromhex(  # everyone may do everything
        "0100048014000000200000000000000030000000"
        "010100000000000100000000" "010100000000000100000000" "0000000000000000"
        "02001c000100000000001400" "3f000f00" "010100000000000100000000")
    security = struct.pack("<2sHIIII", b"sk", 0, 0x78, 0x78, 1, len(descriptor)) + descriptor
    root = struct.pack("<2sHQ15IHH", b"nk", 0x2C, 0, 0, 0, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF, 0,
                       0xFFFFFFFF, 0x78, 0xFFFFFFFF, 0, 0, 0, 0, 0, 4, 0) + b"ROOT"
    cells = b""
    for content, size in ((root, 0x58), (security, 0x88)):
        cells += struct.pack("<i", -size) + content.ljust(size - 4, b"\0")
    free = 0x1000 - 0x20 - len(cells)
    used = struct.pack("<4sIIQQI", b"hbin", 0, 0x1000, 0, 0, 0) + cells + struct.pack("<I", free)
    base = struct.pack("<4sIIQIIIIIII", b"regf", 1, 1, 0, 1, 3, 0, 1, 0x20, 0x1000, 1).ljust(0x1FC, b"\0")
    checksum = 0
    for (word,) in struct.iter_unpack("<I", base):
        checksum ^= word
    return (base + struct.pack("<I", checksum)).ljust(0x1000, b"\0") + used.ljust(0x1000, b"\0")


def write_creg(path, tree, codec):
    """Writes a tree as a registry file of the 95 family, in blocks of at most 60,000 bytes."""
    keys, blocks, size = [], [[]], 32

    def record(key):
        nonlocal size
        name = key.name.encode(codec, "replace")
        content = struct.pack("<HHI", len(name), len(key.values), 0) + name
        for value, kind, data in key.values.values():
            if kind in (1, 2, 7):
                data = data.decode("utf-16-le").rstrip("\0").encode(codec, "replace")
            encoded = value.encode(codec, "replace")
            content += struct.pack("<IIHH", kind, 0, len(encoded), len(data)) + encoded + data
        if size + 12 + len(content) > 60000 or len(blocks[-1]) > 250:
            blocks.append([])
            size = 32
        identity = len(blocks[-1]) | (len(blocks) - 1) << 16
        blocks[-1].append(struct.pack("<III", 12 + len(content), identity, 12 + len(content)) + content)
        size += 12 + len(content)
        return identity

    def add(key, parent, identity):
        index = len(keys)
        keys.append([parent, 0xFFFFFFFF, 0xFFFFFFFF, identity])
        before = None
        for below in key.keys.values():
            child = add(below, index, record(below))
            if before is None:
                keys[index][1] = child
            else:
                keys[before][2] = child
            before = child
        return index

    add(tree, 0xFFFFFFFF, 0xFFFFFFFF)
    at = lambda index: 0xFFFFFFFF if index == 0xFFFFFFFF else 32 + 28 * index
    tree_size = -(-(32 + 28 * len(keys)) // 4096) * 4096
    table = struct.pack("<4sIII", b"RGKN", tree_size, 32, 32 + 28 * len(keys)).ljust(32, b"\0")
    for parent, child, following, identity in keys:
        table += struct.pack("<IIIIIII", 0, 0, 0xFFFFFFFF, at(parent), at(child), at(following), identity)
    content = table.ljust(tree_size, b"\0")
    for records in blocks:
        whole = -(-(32 + sum(map(len, records))) // 4096) * 4096
        last = whole - 32 - sum(map(len, records[:-1]))  # the last record has the rest of the block
        records[-1] = (struct.pack("<I", last) + records[-1][4:]).ljust(last, b"\0")
        content += struct.pack("<4sI", b"RGDB", whole).ljust(32, b"\0") + b"".join(records)
    head = struct.pack("<4sIIIH", b"CREG", 0x10000, 32 + tree_size, 0, len(blocks)).ljust(32, b"\0")
    path.write_bytes(head + content)


# ---------------------------------------------------------------- the machine

def started_by_registry(root):
    """All texts of the registry, lower-cased: what none of them names isn't started by it."""
    texts = []

    def walk(key):
        texts.extend(data.decode("utf-16-le", "replace").lower()
                     for _, kind, data in key.values.values() if kind in (1, 2, 7))
        for below in key.keys.values():
            walk(below)

    walk(root)
    return "\n".join(texts)


def file_name(path):
    return path.rpartition("\\")[2]


def put_stream(path, volume):
    """Makes the stream of a file that a module's path names: as ntfs-3g shows one, or beside it."""
    colon = path.find(":", 2)
    if colon < 0:
        return
    name, stream = path[:colon], path[colon + 1:]
    file = host(volume, name.rpartition("\\")[0]) / file_name(name)
    try:
        os.setxattr(file, "user." + stream, b"MZ")
    except OSError:
        file.with_name(file.name + ":" + stream).write_bytes(b"MZ")


def add_starts(machine, root, volume):
    """Gives a place to programs and modules that run and have none."""
    known = started_by_registry(root)
    services = root.at(r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services")
    load = root.at(r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\ShellServiceObjectDelayLoad")
    classes = root.at(r"HKEY_LOCAL_MACHINE\Software\Classes\CLSID")
    number, programs = 0, []
    for process in machine.get("processes", []):
        path = process["path"]
        if process.get("self"):
            continue
        name = file_name(path).lower()
        is_missing = name not in known and name not in STARTED_ANYWAY
        if re.match(r"[a-z]:\\", path.lower()) and is_missing and machine["family"] == "9x":
            programs.append(path)
            known += "\n" + name
        elif re.match(r"[a-z]:\\", path.lower()) and is_missing:
            service = services.at(file_name(path).rpartition(".")[0])
            service.put("Type", DWORD, struct.pack("<I", 16))
            service.put("Start", DWORD, struct.pack("<I", 2))
            service.text("ImagePath", path, EXPAND_SZ)
            known += "\n" + name
        for module in process.get("modules", []):
            if file_name(module).lower() in SYSTEM_MODULES or module.lower() in known or \
                    file_name(module).lower() in known:
                continue
            number += 1
            identifier = "{B4F1A0%02X-7D32-4C19-9E55-0A6C3D81F2E7}" % number
            put_stream(module, volume)
            load.text(f"Object {number}", identifier)
            classes.at(identifier + r"\InProcServer32").text("", module)
            known += "\n" + module.lower()
    if programs:
        (host(volume, "C:\\WINDOWS") / "WIN.INI").write_text("[windows]\r\nrun=" + " ".join(programs) + "\r\n")


def describe_windows(machine, root, user):
    """What an installation says of itself, where the image doesn't."""
    major, minor = machine["version"]
    environment = machine["environment"]
    windows = environment.get("windir", "C:\\WINDOWS")
    version = root.at(r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion")
    version.text("CurrentVersion", f"{major}.{minor}")
    version.text("CurrentBuildNumber", str(machine["build"]))
    version.text("CSDVersion", machine.get("servicePack", ""))
    version.text("SystemRoot", windows)
    version.at("Winlogon").text("Shell", "Explorer.exe")
    version.at("Winlogon").text("Userinit", windows + r"\system32\userinit.exe,")
    profile = version.at("ProfileList\\" + SID)
    profile.text("ProfileImagePath", r"%SystemDrive%\Documents and Settings" + "\\" + user, EXPAND_SZ)
    control = root.at(r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control")
    control.at(r"Nls\CodePage").text("ACP", str(machine.get("codePage", 1252)))
    variables = control.at(r"Session Manager\Environment")
    processor = "AMD64" if machine.get("architecture") == "x64" else "x86"
    variables.text("PROCESSOR_ARCHITECTURE", processor)
    for name, value in environment.items():
        if name.lower() in ("username", "temp", "tmp"):
            root.at(r"HKEY_CURRENT_USER\Environment").text(name, value, EXPAND_SZ)
        elif name.lower() not in ("systemroot", "programfiles", "systemdrive"):
            variables.text(name, value, EXPAND_SZ)
    folders = root.at(r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion")
    folders.text("ProgramFilesDir", environment.get("ProgramFiles", r"C:\Program Files"))
    mounted = root.at(r"HKEY_LOCAL_MACHINE\System\MountedDevices")
    mounted.put("\\DosDevices\\C:", BINARY, bytes.fromhex("12345678007e000000000000"))


def nt_files(machine, root, volume):
    user = machine["environment"].get("USERNAME", "Owner")
    describe_windows(machine, root, user)
    add_starts(machine, root, volume)
    control = root.take(r"HKEY_LOCAL_MACHINE\System\CurrentControlSet")
    system = root.take(r"HKEY_LOCAL_MACHINE\System")
    system.keys["controlset001"] = control
    control.name = "ControlSet001"
    for name, number in (("Current", 1), ("Default", 1), ("Failed", 0), ("LastKnownGood", 1)):
        system.at("Select").put(name, DWORD, struct.pack("<I", number))
    config = host(volume, "C:\\WINDOWS\\system32\\config")
    profile = host(volume, "C:\\Documents and Settings\\" + user)
    current = root.take("HKEY_CURRENT_USER")
    write_hive(config / "SYSTEM", system)
    write_hive(config / "SOFTWARE", root.take(r"HKEY_LOCAL_MACHINE\Software"))
    write_hive(config / "DEFAULT", root.take(r"HKEY_USERS\.DEFAULT"))
    classes = current.take(r"Software\Classes")
    write_hive(profile / "Local Settings/Application Data/Microsoft/Windows/UsrClass.dat", classes)
    write_hive(profile / "NTUSER.DAT", current)


def files_of_95(machine, root, volume):
    add_starts(machine, root, volume)
    codec = "cp%d" % machine.get("codePage", 1252)
    windows = host(volume, "C:\\WINDOWS")
    version = root.at(r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion")
    major, minor = machine["version"]
    version.text("VersionNumber", f"{major}.{minor:02d}.{machine['build']}")
    version.text("SubVersionNumber", machine.get("servicePack", ""))
    version.text("SystemRoot", "C:\\WINDOWS")
    version.text("ProgramFilesDir", machine["environment"].get("ProgramFiles", "C:\\Program Files"))
    nls = root.at(r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Nls\CodePage")
    nls.text("ACP", str(machine.get("codePage", 1252)))
    current = root.take("HKEY_CURRENT_USER")
    current.name = ".DEFAULT"
    users = root.take("HKEY_USERS")
    users.name = ""
    users.keys[".default"] = current
    local = root.take("HKEY_LOCAL_MACHINE")
    local.name = ""
    write_creg(windows / "SYSTEM.DAT", local, codec)
    write_creg(windows / "USER.DAT", users, codec)


def host(volume, path):
    """The host's folder of one on C:, as it is spelled there, made where it is missing."""
    folder = volume
    for name in path.split("\\")[1:]:
        same = [entry for entry in folder.iterdir() if entry.name.lower() == name.lower()]
        folder = same[0] if same else folder / name
        folder.mkdir(exist_ok=True)
    return folder


def main(image, volume):
    machine = json.loads((image / "machine.json").read_text())
    machine.setdefault("environment", {})
    machine.setdefault("version", [5, 1] if machine["family"] == "nt" else [4, 10])
    machine.setdefault("build", 2600 if machine["family"] == "nt" else 2222)
    root = Key()
    for path in sorted((image / "registry").glob("*.reg")):
        read_export(path, root, "cp%d" % machine.get("codePage", 1252))
    classes = root.take("HKEY_CLASSES_ROOT")
    graft(root.at(r"HKEY_LOCAL_MACHINE\Software\Classes"), classes)
    shutil.copytree(image / "drives" / "c", volume)
    (nt_files if machine["family"] == "nt" else files_of_95)(machine, root, volume)


def graft(target, source):
    target.values.update(source.values)
    for below in source.keys.values():
        graft(target.at(below.name), below)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: tools/make_volume.py IMAGE FOLDER")
    given = pathlib.Path(sys.argv[2])
    if given.exists():
        sys.exit(f"make_volume.py: {given} is there already")
    main(pathlib.Path(sys.argv[1]), given)
