"""Registry export files in the three forms that occur: 5.00 as UTF-16, 5.00 as UTF-8, REGEDIT4."""

import struct

SZ, EXPAND_SZ, BINARY, DWORD, MULTI_SZ = 1, 2, 3, 4, 7


class Value:
    """One registry value of a type; a plain str stands for a string value."""

    def __init__(self, kind, content):
        self.kind, self.content = kind, content


def expand(text):
    return Value(EXPAND_SZ, text)


def dword(number):
    return Value(DWORD, number)


def binary(hexadecimal):
    return Value(BINARY, bytes.fromhex(hexadecimal))


def multi(*texts):
    return Value(MULTI_SZ, texts)


def _quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def _hex(prefix, data):
    """Hexadecimal bytes, continued on the next line behind 80 columns as the editor does."""
    lines, line = [], prefix
    for index, byte in enumerate(data):
        line += f"{byte:02x}" + ("," if index + 1 < len(data) else "")
        if len(line) > 76 and index + 1 < len(data):
            lines.append(line + "\\")
            line = "  "
    return "\r\n".join(lines + [line])


def _value_line(name, value, encode):
    left = "@=" if name == "" else _quoted(name) + "="
    if isinstance(value, str):
        return left + _quoted(value)
    if value.kind == DWORD:
        return f"{left}dword:{value.content:08x}"
    if value.kind == BINARY:
        return _hex(left + "hex:", value.content)
    texts = value.content if value.kind == MULTI_SZ else (value.content,)
    data = b"".join(encode(text + "\0") for text in texts)
    return _hex(f"{left}hex({value.kind:x}):",
                data + (encode("\0") if value.kind == MULTI_SZ else b""))


def registry_file(keys, form):
    """`keys` maps full key names to {value name: value}; the empty name is the default value."""
    encodings = {
        "5.00 UTF-16": ("Windows Registry Editor Version 5.00", "utf-16-le", b"\xff\xfe"),
        "5.00 UTF-8": ("Windows Registry Editor Version 5.00", "utf-8", b""),
        "5.00 UTF-8 BOM": ("Windows Registry Editor Version 5.00", "utf-8", b"\xef\xbb\xbf"),
        "REGEDIT4": ("REGEDIT4", "cp1252", b""),
    }
    header, encoding, mark = encodings[form]
    value_encoding = "cp1252" if form == "REGEDIT4" else "utf-16-le"
    lines = [header, ""]
    for key, values in keys.items():
        lines.append(f"[{key}]")
        lines += [_value_line(name, value, lambda text: text.encode(value_encoding))
                  for name, value in values.items()]
        lines.append("")
    return mark + "".join(line + "\r\n" for line in lines).encode(encoding)
