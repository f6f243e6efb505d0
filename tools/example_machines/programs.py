"""Little program files: PE and NE images with real headers, with or without a version record."""

import hashlib
import struct

from .version_record import version_record

DOS_STUB = (bytes.fromhex("0e1fba0e00b409cd21b8014ccd21")
            + b"This program cannot be run in DOS mode.\r\r\n$")
LINK_TIME = 0x41107CCF  # August 2004
FILE_ALIGNMENT = 0x200
SECTION_ALIGNMENT = 0x1000
RT_VERSION = 16


def _aligned(number, alignment):
    return (number + alignment - 1) // alignment * alignment


def _dos_header(new_header):
    fields = struct.pack("<14H", 0x5A4D, 0x90, 3, 0, 4, 0, 0xFFFF, 0, 0xB8, 0, 0, 0, 0x40, 0)
    return (fields.ljust(0x3C, b"\0") + struct.pack("<I", new_header)
            + DOS_STUB).ljust(new_header, b"\0")


def _code(name, returns):
    """A few bytes of code and a filling that differs from file to file."""
    return returns + hashlib.sha256(name.encode("utf-8")).digest() * 4


def _resource_directory(resource_type, data, base):
    """A resource section with one resource of one language, to be mapped at address `base`."""
    def directory(identifier, target):
        return struct.pack("<IIHHHHII", 0, LINK_TIME, 4, 0, 0, 1, identifier, target)

    subdirectory = 0x80000000
    entry = struct.pack("<IIII", base + 0x58, len(data), 0, 0)
    return (directory(resource_type, subdirectory | 0x18) + directory(1, subdirectory | 0x30)
            + directory(0x0409, 0x48) + entry + data)


def pe_file(name, strings=None, version="1.0.0.0"):
    """A 32-bit program or library; without `strings` it has no version record."""
    is_library = not name.lower().endswith((".exe", ".tmp"))
    sections = [(b".text", 0x60000020, _code(name, bytes.fromhex("b801000000c20c00")))]
    if strings is not None:
        record = version_record(strings, version)
        base = 2 * SECTION_ALIGNMENT
        sections.append((b".rsrc", 0x40000040, _resource_directory(RT_VERSION, record, base)))

    table, body, address, offset = b"", b"", SECTION_ALIGNMENT, FILE_ALIGNMENT
    for title, flags, data in sections:
        size = _aligned(len(data), FILE_ALIGNMENT)
        table += struct.pack("<8s6I2HI", title, len(data), address, size, offset, 0, 0, 0, 0, flags)
        body += data.ljust(size, b"\0")
        address, offset = address + _aligned(len(data), SECTION_ALIGNMENT), offset + size

    intel386, characteristics = 0x014C, 0x210E if is_library else 0x010F
    file_header = struct.pack("<HHIIIHH", intel386, len(sections), LINK_TIME, 0, 0, 0xE0,
                              characteristics)
    optional = struct.pack("<HBB9I", 0x010B, 7, 10, FILE_ALIGNMENT, 0, 0, SECTION_ALIGNMENT,
                           SECTION_ALIGNMENT, 2 * SECTION_ALIGNMENT,
                           0x10000000 if is_library else 0x00400000, SECTION_ALIGNMENT,
                           FILE_ALIGNMENT)
    optional += struct.pack("<6HIIIIHH6I", 4, 0, 1, 0, 4, 0, 0, address, FILE_ALIGNMENT, 0, 2, 0,
                            0x100000, 0x1000, 0x100000, 0x1000, 0, 16)
    directories = [(0, 0)] * 16
    if strings is not None:
        directories[2] = (2 * SECTION_ALIGNMENT, len(sections[1][2]))
    optional += b"".join(struct.pack("<II", *directory) for directory in directories)
    headers = _dos_header(0x80) + b"PE\0\0" + file_header + optional + table
    return headers.ljust(FILE_ALIGNMENT, b"\0") + body


def ne_file(name, strings=None, version="1.0.0.0"):
    """A 16-bit library or program."""
    shift = 4
    module = name.split(".")[0].upper().encode("ascii")[:8]
    resident = bytes([len(module)]) + module + b"\0\0\0"
    record = b"" if strings is None else version_record(strings, version, wide=False)
    record = record.ljust(_aligned(len(record), 1 << shift), b"\0")
    new_header = 0x80
    segment_table = 0x40
    resource_table = segment_table + 8
    resources_length = 2 + (8 + 12 if record else 0) + 2
    names = resource_table + resources_length
    code = _code(name, bytes.fromhex("b80100cb"))
    code_at = _aligned(new_header + names + len(resident), 1 << shift)
    record_at = _aligned(code_at + len(code), 1 << shift)

    resources = struct.pack("<H", shift)
    if record:
        resources += struct.pack("<HHI6H", 0x8000 | RT_VERSION, 1, 0, record_at >> shift,
                                 len(record) >> shift, 0x0C30, 0x8001, 0, 0)
    resources += struct.pack("<H", 0)
    header = struct.pack("<2sBBHHIHHHHIIHHHHHHHHIHHHBB8x", b"NE", 5, 10, names + len(resident), 0,
                         0, 0x8000, 0, 0, 0, 1 << 16, 0, 1, 0, 0, segment_table, resource_table,
                         names, names + len(resident), names + len(resident), 0, 0, shift, 0, 2, 0)
    assert len(header) == segment_table
    segment = struct.pack("<4H", code_at >> shift, len(code), 0, len(code))
    image = _dos_header(new_header) + header + segment + resources + resident
    return (image.ljust(code_at, b"\0") + code).ljust(record_at, b"\0") + record
