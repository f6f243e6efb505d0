"""Version records, as resource compilers write them: 32-bit (UTF-16) and 16-bit (8-bit text)."""

import struct

FIXED_SIGNATURE = 0xFEEF04BD


def _padded(data, base=0):
    """Each block of a record starts at a multiple of four bytes from the record's start."""
    return data + b"\0" * (-(base + len(data)) % 4)


def _fixed_file_info(version):
    numbers = [int(part) for part in version.split(".")]
    major, minor, build, revision = (numbers + [0, 0, 0, 0])[:4]
    high, low = major << 16 | minor, build << 16 | revision
    nt_windows32, application = 0x00040004, 1
    return struct.pack("<13I", FIXED_SIGNATURE, 0x00010000, high, low, high, low,
                       0x3F, 0, nt_windows32, application, 0, 0, 0)


class _Wide:
    """The form of 32-bit files."""
    table = "040904B0"  # US English, Unicode
    translation = struct.pack("<HH", 0x0409, 0x04B0)

    @staticmethod
    def block(key, value=b"", value_length=None, is_text=True, children=()):
        length = len(value) if value_length is None else value_length
        data = _padded(b"\0" * 6 + (key + "\0").encode("utf-16-le")) + value
        for child in children:
            data = _padded(data) + child
        return struct.pack("<HHH", len(data), length, int(is_text)) + data[6:]

    @classmethod
    def string(cls, name, value):
        # The length of a text counts characters here, not bytes.
        return cls.block(name, (value + "\0").encode("utf-16-le"), len(value) + 1)


class _Narrow:
    """The form of 16-bit files: no type word, 8-bit text."""
    table = "040904E4"  # US English, Windows 1252
    translation = struct.pack("<HH", 0x0409, 0x04E4)

    @staticmethod
    def block(key, value=b"", value_length=None, is_text=True, children=()):
        del is_text
        length = len(value) if value_length is None else value_length
        data = _padded(b"\0" * 4 + (key + "\0").encode("cp1252")) + value
        for child in children:
            data = _padded(data) + child
        return struct.pack("<HH", len(data), length) + data[4:]

    @classmethod
    def string(cls, name, value):
        return cls.block(name, (value + "\0").encode("cp1252"))


def version_record(strings, version="1.0.0.0", wide=True):
    """A whole record with one language block that holds `strings` in their order."""
    form = _Wide if wide else _Narrow
    table = form.block(form.table, children=[form.string(*item) for item in strings.items()])
    translation = form.block("Translation", form.translation, is_text=False)
    return form.block("VS_VERSION_INFO", _fixed_file_info(version), is_text=False, children=[
        form.block("StringFileInfo", children=[table]),
        form.block("VarFileInfo", children=[translation])])
