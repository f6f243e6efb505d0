"""Mounts the Windows of a disk image, to be read only, for brackenfold-fleet's --open.

    python3 open_image.py raw|qcow2|vmdk open|close IMAGE FOLDER read

What is needed to take it away again lies in FOLDER.state. The exit code is 2 for an image that can't be
opened, 4 where something was missing for a while.
"""
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import time

SECTOR = 512
FAILED, TRY_AGAIN = 2, 4
NEEDED = {"ntfs-3g": "ntfs-3g", "losetup": "mount", "qemu-nbd": "qemu-utils", "nbdfuse": "libnbd-bin"}
MICROSOFT_DATA = bytes.fromhex("a2a0d0ebe5b9334487c068b6b72699c7")
MOST_PARTITIONS = 128
EXTENDED = (0x05, 0x0F, 0x85)


class OpenError(Exception):
    def __init__(self, message, code=FAILED):
        super().__init__(message)
        self.code = code


def call(*command, code=FAILED):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace",
                          stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        why = (done.stderr.strip() or done.stdout.strip() or "failed").splitlines()[0]
        name = os.path.basename(command[0])
        raise OpenError(f"{name}: {why.removeprefix(name + ': ')}", code)
    return done.stdout.strip()


# ---------------------------------------------------------------- partitions

def read_at(disk, offset, size):
    disk.seek(offset)
    return disk.read(size)


def partitions(disk):
    """(offset, size) of each partition in bytes, that of a disk without a table from 0 to its end."""
    first = read_at(disk, 0, SECTOR)
    size = disk.seek(0, os.SEEK_END)
    if file_system(disk, 0):
        return [(0, size)]
    if len(first) < SECTOR or first[510:] != b"\x55\xaa":
        raise OpenError("has neither partitions nor a file system of Windows")
    if read_at(disk, SECTOR, 8) == b"EFI PART":
        found = list(gpt_partitions(disk))
    else:
        found = list(mbr_partitions(disk, 0, 0, 0))
    return [(start, length) for start, length in found if length > 0 and start + SECTOR <= size]


def gpt_partitions(disk):
    header = read_at(disk, SECTOR, 92)
    entries, count, length = struct.unpack("<QII", header[72:88])
    if not 128 <= length <= 4096:
        raise OpenError("has a damaged partition table")
    for number in range(min(count, MOST_PARTITIONS)):
        entry = read_at(disk, entries * SECTOR + number * length, 128)
        if len(entry) == 128 and entry[:16] == MICROSOFT_DATA:
            start, end = struct.unpack("<QQ", entry[32:48])
            yield start * SECTOR, (end - start + 1) * SECTOR


def mbr_partitions(disk, table, base, depth):
    """Those of a table; an extended one holds tables of its own, each with the next one."""
    sector = read_at(disk, table * SECTOR, SECTOR)
    if len(sector) < SECTOR or sector[510:] != b"\x55\xaa" or depth > MOST_PARTITIONS:
        return
    for at in range(446, 510, 16):
        kind = sector[at + 4]
        start, length = struct.unpack("<II", sector[at + 8:at + 16])
        if kind in EXTENDED and start:
            yield from mbr_partitions(disk, base + start, base or start, depth + 1)
        elif kind and start:
            yield (table + start) * SECTOR, length * SECTOR


def file_system(disk, offset):
    """The name by which mount knows it; empty for what no Windows lies on."""
    boot = read_at(disk, offset, SECTOR)
    if boot[3:11] == b"NTFS    ":
        return "ntfs-3g"
    if boot[3:11] == b"-FVE-FS-":
        raise OpenError("is encrypted by BitLocker; unlock it first")
    return "vfat" if boot[54:57] == b"FAT" or boot[82:85] == b"FAT" else ""


def holds_windows(folder):
    return any(entry.name.lower() in ("windows", "winnt") for entry in os.scandir(folder))


# ---------------------------------------------------------------- mounting

class Opening:
    """What was set up for one image, step by step, so that all of it can be taken away again."""

    def __init__(self, folder):
        self.folder = folder
        self.state = pathlib.Path(folder + ".state")
        self.whole = self.state / "whole"

    def keep(self, **facts):
        (self.state / "facts").write_text(json.dumps(facts), encoding="ascii")

    def facts(self):
        try:
            return json.loads((self.state / "facts").read_text(encoding="ascii"))
        except FileNotFoundError:
            return {}

    def raw_file(self, kind, image):
        if kind == "raw":
            return image
        self.whole.mkdir()
        server = subprocess.Popen(
            ["nbdfuse", self.whole / "disk", "[", "qemu-nbd", "--read-only", f"--format={kind}", image,
             "]"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, start_new_session=True,
            stderr=open(self.state / "messages", "wb"))
        while not (self.whole / "disk").exists():
            if server.poll() is not None:
                lines = (self.state / "messages").read_text(errors="replace").strip().splitlines()
                raise OpenError((lines or ["nbdfuse failed"])[0])
            time.sleep(0.02)
        return str(self.whole / "disk")

    def mount(self, file):
        with open(file, "rb") as disk:
            found = [(start, size, file_system(disk, start)) for start, size in partitions(disk)]
        for start, size, kind in found:
            if not kind:
                continue
            loop = call("losetup", "--find", "--show", "--read-only", "--offset", str(start),
                        "--sizelimit", str(size), file, code=TRY_AGAIN)
            self.keep(loop=loop)
            options = "ro,norecover" if kind == "ntfs-3g" else "ro"
            call("mount", "-t", kind, "-o", options, loop, self.folder)
            if holds_windows(self.folder):
                return
            self.unmount()
        raise OpenError("holds no partition with a Windows folder")

    def unmount(self):
        if os.path.ismount(self.folder):
            call("umount", self.folder, code=TRY_AGAIN)
        loop = self.facts().get("loop")
        if loop:
            self.keep()
            call("losetup", "--detach", loop, code=TRY_AGAIN)

    def close(self):
        self.unmount()
        if os.path.ismount(self.whole):
            call("umount", str(self.whole), code=TRY_AGAIN)
        shutil.rmtree(self.state, ignore_errors=True)


def open_image(kind, image, folder, access):
    if access != "read":
        raise OpenError("images are mounted to be read only here; docs/volumes.md tells how to clean one")
    for program in ("ntfs-3g", "losetup") + (() if kind == "raw" else ("qemu-nbd", "nbdfuse")):
        if shutil.which(program) is None:
            raise OpenError(f"{program} isn't here: Debian's package {NEEDED[program]} has it")
    if os.geteuid() != 0:
        raise OpenError("mounting an image takes root")
    with open(image, "rb"):
        pass
    opening = Opening(folder)
    opening.state.mkdir()
    try:
        opening.mount(opening.raw_file(kind, image))
    except (OpenError, OSError):
        opening.close()
        raise


def main(words):
    try:
        kind, verb, image, folder, access = words
        if verb == "open":
            open_image(kind, image, folder, access)
        else:
            Opening(folder).close()
    except OpenError as error:
        print(f"{words[2]}: {error}", file=sys.stderr)
        return error.code
    except OSError as error:
        print(f"{error.filename or words[2]}: {error.strerror}", file=sys.stderr)
        return FAILED
    except ValueError:
        print(__doc__, file=sys.stderr)
        return FAILED
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
