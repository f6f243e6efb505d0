#!/usr/bin/env python3
"""Writes src/platform/model/CodePageTable.inc: where Windows' code pages differ from iconv's.

Usage: tools/make_code_page_table.py > src/platform/model/CodePageTable.inc
The C library's iconv knows the pages, but no best fit ("l" for a crossed one) and none of Windows'
private characters. Windows' own tables are those of Wine's data files (Debian: wine), in the form
of c_NNNN.nls: words of a header, of 256 single bytes, of a page for each lead byte, of 65,536
characters.
"""
import ctypes
import struct

FOLDER = "/usr/share/wine/nls"
PAGES = (874, 932, 936, 949, 950, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258)
ICONV_NAMES = {950: "BIG5"}  # as src/platform/model/CodePage.cpp has them


class Iconv:
    """One conversion; None for what it doesn't convert whole."""

    def __init__(self, to, source):
        self.libc = ctypes.CDLL(None)
        self.libc.iconv_open.restype = ctypes.c_void_p
        self.libc.iconv.restype = ctypes.c_size_t
        self.libc.iconv.argtypes = [ctypes.c_void_p] * 5
        self.descriptor = self.libc.iconv_open(to.encode(), source.encode())
        if self.descriptor == ctypes.c_void_p(-1).value:
            raise SystemExit(f"iconv knows no {to} or {source}")

    def __call__(self, data):
        source = ctypes.create_string_buffer(data, len(data))
        room = ctypes.create_string_buffer(16)
        at, to = (ctypes.c_void_p(ctypes.addressof(part)) for part in (source, room))
        left, free = ctypes.c_size_t(len(data)), ctypes.c_size_t(16)
        self.libc.iconv(self.descriptor, None, None, None, None)
        outcome = self.libc.iconv(self.descriptor, *map(ctypes.byref, (at, left, to, free)))
        return room.raw[:16 - free.value] if outcome == 0 and left.value == 0 else None


class Page:
    """A page as Windows has it."""

    def __init__(self, number):
        with open(f"{FOLDER}/c_{number}.nls", "rb") as file:
            data = file.read()
        words = struct.unpack(f"<{len(data) // 2}H", data[:len(data) // 2 * 2])
        start = words[0]
        characters = start + words[start] + 1
        self.unknown = words[4]
        self.single = words[start + 1:start + 257]
        leads = start + 257
        leads += 257 if words[leads] else 1
        self.lead = words[leads + 1:] if words[leads] else None
        is_narrow = words[2] == 1
        self.codes = (data[characters * 2:characters * 2 + 65536] if is_narrow
                      else words[characters:characters + 65536])

    def texts(self):
        """Every code with its character."""
        for byte in range(0x80, 256):
            if not self.lead or not self.lead[byte]:
                yield byte, self.single[byte]
                continue
            for trail in range(256):
                character = self.lead[self.lead[byte] + trail]
                if character != self.unknown:
                    yield byte << 8 | trail, character


def differences(number):
    """Pairs to encode and pairs to decode that iconv has otherwise or not at all."""
    name = ICONV_NAMES.get(number, f"CP{number}")
    to_bytes, to_text = Iconv(name, "UTF-16LE"), Iconv("UTF-16LE", name)
    page = Page(number)
    encoded = []
    for character in range(0x80, 0x10000):
        if 0xD800 <= character < 0xE000:
            continue
        code = to_bytes(struct.pack("<H", character))
        if not code:
            code = bytes([character]) if character < 0xA0 else b"?"
        if int.from_bytes(code, "big") != page.codes[character]:
            encoded.append((character, page.codes[character]))
    decoded = []
    for code, character in page.texts():
        text = to_text(code.to_bytes(1 if code < 256 else 2, "big"))
        if not text and code < 256:
            text = struct.pack("<H", code)
        if text != struct.pack("<H", character):
            decoded.append((code, character))
    return encoded, decoded


def runs(pairs):
    """Merges neighbours: (first, count, value of the first)."""
    merged = []
    for key, value in pairs:
        if merged and (key, value) == (merged[-1][0] + merged[-1][1], merged[-1][2] + merged[-1][1]):
            merged[-1][1] += 1
        else:
            merged.append([key, 1, value])
    return map(tuple, merged)


def shared(kind):
    """Each run once, with the pages that have it as bits."""
    pages = {}
    for bit, number in enumerate(PAGES):
        for run in runs(differences(number)[kind]):
            pages[run] = pages.get(run, 0) | 1 << bit
    return sorted(pages.items())


def print_table(name, entries):
    print(f"constexpr CodeRun {name}[] = {{")
    cells = [f"{{{first:#x},{count},{value:#x},{pages:#x}}}," for (first, count, value), pages in entries]
    line = ""
    for cell in cells:
        if len(line) + len(cell) > 115:
            print(line)
            line = ""
        line += cell
    print(line)
    print("};")


print("// Made by tools/make_code_page_table.py; don't edit.")
print("constexpr std::uint32_t kTablePages[] = {" + ", ".join(map(str, PAGES)) + "};")
print_table("kEncodeRuns", shared(0))
print_table("kDecodeRuns", shared(1))
