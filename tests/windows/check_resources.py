#!/usr/bin/env python3
"""check_resources.py PROGRAM: every picture that the windows name is in the program, in forms that the
oldest Windows can read, the file's own icon is the program's, and its string table is the engine's."""
import pathlib
import re
import struct
import subprocess
import sys

SOURCES = pathlib.Path(__file__).parents[2] / "src"
FOLDERS = "app", "panels", "removal"
NAMES = re.compile(r'Picture \w+\{\*this, u"\w+", u"(\w+)"|SetIconName\(u"(\w+)"\)'
                   r'|\{u"\w+", u"([A-Z]+)"\}')
STRING = re.compile(r'^BKFD_STRING\((\d+), \w+, "(.*)"\)$', re.M)
BITMAP, STRING_BLOCK, GROUP_ICON = 2, 6, 14
PNG = b"\x89PNG"


def wrestool(program, *options):
    return subprocess.run(["wrestool", *options, program], capture_output=True, check=True).stdout


def named_by_windows():
    files = [file for folder in FOLDERS for file in (SOURCES / folder).rglob("*.*")]
    return {"".join(match) for file in files for match in NAMES.findall(file.read_text("utf-8"))}


def resources(program, kind):
    listed = wrestool(program, "-l", f"-t{kind}").decode()
    return re.findall(r"--name='?(\w+)", listed)


def icon_faults(data):
    """Of an .ico file: what an old system misses."""
    images = []
    for at in range(6, 6 + 16 * struct.unpack_from("<H", data, 4)[0], 16):
        width, bits, offset = data[at], struct.unpack_from("<H", data, at + 6)[0], \
            struct.unpack_from("<I", data, at + 12)[0]
        images.append((width or 256, bits, data[offset:offset + 4] == PNG))
    plain = [(width, bits) for width, bits, compressed in images if not compressed]
    if not any(bits <= 8 for _, bits in plain):
        yield "no image in few colours"
    if not any(bits == 32 for _, bits in plain):
        yield "no image with half transparent edges"
    if any(compressed and width < 24 for width, _, compressed in images):
        yield "a small image is compressed"


def bitmap_faults(data):
    header, width, height, _, bits, compression = struct.unpack_from("<IiiHHI", data)
    if header != 40:
        yield f"header of {header} bytes"
    if bits > 8 or compression > 1:
        yield f"{bits} bits, compression {compression}"
    if (width, height) not in ((400, 240), (800, 480)):
        yield f"{width} x {height} pixels"


def strings_of(program):
    """Number and text of each string; a block holds sixteen, each behind its length."""
    found = {}
    for block in resources(program, STRING_BLOCK):
        data = wrestool(program, "-x", "--raw", f"-t{STRING_BLOCK}", "-n", block)
        at = 0
        for number in range(16 * (int(block) - 1), 16 * int(block)):
            end = at + 2 + 2 * struct.unpack_from("<H", data, at)[0]
            if end > at + 2:
                found[number] = data[at + 2:end].decode("utf-16-le")
            at = end
    return found


def string_faults(program):
    source = (SOURCES / "resources/strings.inc").read_text("ascii")
    wanted = {int(number): text.encode().decode("unicode_escape")
              for number, text in STRING.findall(source)}
    found = strings_of(program)
    for number in sorted(wanted.keys() | found.keys()):
        if wanted.get(number) != found.get(number):
            yield f"string {number}: {wanted.get(number)!r}, in the program {found.get(number)!r}"


def main():
    program = sys.argv[1]
    icons, bitmaps = resources(program, GROUP_ICON), resources(program, BITMAP)
    faults = [f"{name}: named by a window, not in the program"
              for name in named_by_windows() - set(icons) - set(bitmaps)]
    if not named_by_windows() or not icons or icons[0] != "ABOUT":
        faults.append(f"the file's own icon would be {icons[:1]}")
    for name in icons:
        data = wrestool(program, "-x", f"-t{GROUP_ICON}", "-n", name)
        faults += [f"{name}: {fault}" for fault in icon_faults(data)]
    for name in bitmaps:
        data = wrestool(program, "-x", "--raw", f"-t{BITMAP}", "-n", name)
        faults += [f"{name}: {fault}" for fault in bitmap_faults(data)]
    faults += string_faults(program)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
