"""Mounts the Windows of a disk image, to be read only, for brackenfold-fleet's --open.

    python3 open_image.py raw|qcow2|vmdk open|close IMAGE[@PARTITION] FOLDER read

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
MOST_SECTORS = 1 << 48
EXTENDED = (0x05, 0x0F, 0x85)
# What takes the place of a file system that can't be mounted, and why.
BITLOCKER, BEHIND_END = "BitLocker", "behind the end"
UNMOUNTABLE = {BITLOCKER: "is encrypted by BitLocker; unlock it first",
               BEHIND_END: "lies behind the end of the image, which was cut off"}


class OpenError(Exception):
    def __init__(self, message, code=FAILED):
        super().__init__(message)
        self.code = code


def call(*command, code=FAILED):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace",
                          stdin=subprocess.DEVNULL)
    if done.returncode != 0:
        lines = (done.stderr.strip() or done.stdout.strip() or "failed").splitlines()
        # ntfs-3g says what it met before it says what came of it.
        why = next((line for line in lines if line.startswith("Failed to mount")), lines[0])
        name = os.path.basename(command[0])
        raise OpenError(f"{name}: {why.removeprefix(name + ': ')}", code)
    return done.stdout.strip()


# ---------------------------------------------------------------- partitions

def read_at(disk, offset, size):
    disk.seek(offset)
    return disk.read(size)


def partitions(disk):
    """(number in the table, offset, size) of each, in bytes; a disk without a table is number 0."""
    first = read_at(disk, 0, SECTOR)
    size = disk.seek(0, os.SEEK_END)
    if size >= SECTOR and file_system(disk, 0):
        return [(0, 0, size)]
    if len(first) < SECTOR or first[510:] != b"\x55\xaa":
        raise OpenError("has neither partitions nor a file system of Windows")
    of_table = gpt_partitions if read_at(disk, SECTOR, 8) == b"EFI PART" else mbr_partitions
    return [(number, start * SECTOR, length * SECTOR) for number, start, length in of_table(disk)
            if length > 0]


def gpt_partitions(disk):
    header = read_at(disk, SECTOR, 92)
    entries, count, length = struct.unpack("<QII", header.ljust(92, b"\0")[72:88])
    if not 128 <= length <= 4096 or entries > MOST_SECTORS:
        raise OpenError("has a damaged partition table")
    for number in range(min(count, MOST_PARTITIONS)):
        entry = read_at(disk, entries * SECTOR + number * length, 128)
        if len(entry) == 128 and entry[:16] == MICROSOFT_DATA:
            start, end = struct.unpack("<QQ", entry[32:48])
            yield number + 1, start, end - start + 1


def mbr_table(disk, sector):
    """(type, start, length) of its four entries; none of what is no table."""
    table = read_at(disk, sector * SECTOR, SECTOR)
    if len(table) == SECTOR and table[510:] == b"\x55\xaa":
        for at in range(446, 510, 16):
            yield (table[at + 4], *struct.unpack("<II", table[at + 8:at + 16]))


def mbr_partitions(disk):
    """An extended one holds a chain of tables, each with a logical partition and the next table."""
    base = 0
    for number, (kind, start, length) in enumerate(mbr_table(disk, 0), 1):
        if kind in EXTENDED:
            base = start
        elif kind and start:
            yield number, start, length
    table, number = base, 5
    while table and number < MOST_PARTITIONS:
        following = 0
        for kind, start, length in mbr_table(disk, table):
            if kind in EXTENDED and start:
                following = base + start
            elif kind and start:
                yield number, table + start, length
        table, number = following, number + 1


def file_system(disk, offset):
    """The name by which mount knows it; empty for what no Windows lies on."""
    if offset + SECTOR > disk.seek(0, os.SEEK_END):
        return BEHIND_END
    boot = read_at(disk, offset, SECTOR)
    if boot[3:11] == b"NTFS    ":
        return "ntfs-3g"
    if boot[3:11] == b"-FVE-FS-":
        return BITLOCKER
    return "vfat" if boot[54:57] == b"FAT" or boot[82:85] == b"FAT" else ""


def in_any_case(folder, *names):
    """The entry of a folder below which the names lead; None if there is none."""
    for name in names:
        try:
            found = [entry.path for entry in os.scandir(folder) if entry.name.lower() == name]
        except NotADirectoryError:
            return None
        if not found:
            return None
        folder = found[0]
    return folder


def holds_windows(folder):
    return any(in_any_case(folder, windows, *registry) for windows in ("windows", "winnt")
               for registry in (("system32", "config", "software"), ("system.dat",)))


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

    def mount(self, file, wanted):
        """The partition of that number; without one the only one that holds Windows."""
        with open(file, "rb") as disk:
            found = [(*part, file_system(disk, part[1])) for part in partitions(disk)]
        found = [part for part in found if part[3] and wanted in (None, part[0])]
        windows, problems = [], []
        for part in found:
            try:
                self._mount(file, *part)
            except OpenError as error:
                problems.append(f"partition {part[0]} {error}" if part[0] else str(error))
                self.unmount()
                continue
            if wanted is not None or holds_windows(self.folder):
                windows.append(part)
            if windows == [part] == found[-1:]:
                return
            self.unmount()
        if len(windows) > 1:
            numbers = " and ".join(str(part[0]) for part in windows)
            raise OpenError(f"holds Windows in partitions {numbers}: IMAGE@{windows[0][0]} takes that one")
        if not windows:
            raise OpenError("; ".join(problems) or ("holds no partition with Windows" if wanted is None
                            else f"has no partition {wanted} with a file system of Windows"))
        self._mount(file, *windows[0])

    def _mount(self, file, number, start, size, kind):
        if kind in UNMOUNTABLE:
            raise OpenError(UNMOUNTABLE[kind])
        loop = call("losetup", "--find", "--show", "--read-only", "--offset", str(start),
                    "--sizelimit", str(size), file, code=TRY_AGAIN)
        self.keep(loop=loop)
        if kind == "ntfs-3g":
            call("mount", "-t", kind, "-o", "ro,norecover", loop, self.folder)
            return
        try:
            call("mount", "-t", kind, "-o", "ro,utf8", loop, self.folder)
        except OpenError:
            if kernel_has(kind):
                raise
            self._mount_fat_without_kernel(loop)

    def _mount_fat_without_kernel(self, loop):
        if shutil.which("fusefat") is None:
            raise OpenError("has FAT, which this system's kernel lacks, and fusefat isn't here: Debian's "
                            "package fusefat has it")
        if "--times" in os.environ.get("BRACKENFOLD_SCAN", "").split():
            raise OpenError("has FAT, which this system's kernel lacks; fusefat tells wrong times of "
                            "files, so that it can't be scanned with --times here")
        call("fusefat", "-o", "ro", loop, self.folder)

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


def kernel_has(kind):
    text = pathlib.Path("/proc/filesystems").read_text(encoding="ascii")
    return kind in text.split()


def partition_of(entry):
    """The image's path and None, or the number behind IMAGE@NUMBER."""
    image, _, number = entry.rpartition("@")
    if image and number.isdecimal() and not os.path.exists(entry):
        entry, number = image, int(number)
    else:
        number = None
    with open(entry, "rb"):
        return entry, number


def open_image(kind, image, folder, access):
    if access != "read":
        raise OpenError("images are mounted to be read only here; docs/volumes.md tells how to clean one")
    for program in ("ntfs-3g", "losetup") + (() if kind == "raw" else ("qemu-nbd", "nbdfuse")):
        if shutil.which(program) is None:
            raise OpenError(f"{program} isn't here: Debian's package {NEEDED[program]} has it")
    if os.geteuid() != 0:
        raise OpenError("mounting an image takes root")
    image, wanted = partition_of(image)
    opening = Opening(folder)
    opening.state.mkdir()
    try:
        opening.mount(opening.raw_file(kind, image), wanted)
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
