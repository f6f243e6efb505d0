"""Foreign readers of registry files, each with what it tells in one form.

A listing is a list of items: ("key", path) and ("value", path, name, type, data). A reader also says
what our own item looks like in its form (`expected`), since none can express everything; None there
means that it isn't asked, and a None in an item that it isn't asked for this field.
"""
import json
import os
import re
import struct
import subprocess
import sys
import urllib.parse

TYPES = {"REG_NONE": 0, "REG_SZ": 1, "REG_EXPAND_SZ": 2, "REG_BINARY": 3,
         "REG_DWORD_LITTLE_ENDIAN": 4, "REG_DWORD": 4, "REG_DWORD_BIG_ENDIAN": 5, "REG_LINK": 6,
         "REG_MULTI_SZ": 7, "REG_RESOURCE_LIST": 8, "REG_FULL_RESOURCE_DESCRIPTOR": 9,
         "REG_RESOURCE_REQUIREMENTS_LIST": 10, "REG_QWORD_LITTLE_ENDIAN": 11, "REG_QWORD": 11}
SHORT_TYPES = {"NONE": 0, "SZ": 1, "EXPAND_SZ": 2, "BINARY": 3, "DWORD": 4, "DWORD_BE": 5, "LINK": 6,
               "MULTI_SZ": 7, "RSRC_LIST": 8, "RSRC_DESC": 9, "RSRC_REQ_LIST": 10, "QWORD": 11}
TYPE_OF_A_KEY = 0x7FFFFFFF  # by which reglookup tells keys from values
TEXT_TYPES = (1, 2, 6, 7)
LONE_SURROGATE = re.compile("[\ud800-\udfff]")
LONGEST_RUN = 1800  # seconds


class Refused(Exception):
    """The reader doesn't read this file."""


def cut_names(path):
    """The path with each name ended at its first NUL."""
    return "\\".join(name.split("\0")[0] for name in path.split("\\"))


def run(*command):
    try:
        done = subprocess.run(command, capture_output=True, timeout=LONGEST_RUN)
    except subprocess.TimeoutExpired as error:
        raise Refused("takes too long") from error
    if done.returncode < 0:
        raise Refused(f"was ended by signal {-done.returncode}")
    return done.returncode, done.stdout, done.stderr


class Hivex:
    """libhivex by its Python binding; hivexml is the same library with less exact data.

    It reads in a process of its own, as the others do, so that it may crash.
    """
    name = "libhivex"

    def read(self, file):
        code, out, errors = run(sys.executable, __file__, file)
        if code != 0:
            told = errors.decode(errors="replace").strip().splitlines()
            raise Refused(told[-1] if told else "")
        self.is_partial, *items = (json.loads(line) for line in out.splitlines())
        return [tuple(item) for item in items]

    def walk(self, file):
        import hivex  # of Debian's Python
        self.is_partial = False
        try:
            # The binding takes no names but UTF-8.
            hive = hivex.Hivex(f"/dev/fd/{os.open(file, os.O_RDONLY)}")
            root = hive.root()
        except RuntimeError as error:
            sys.exit(str(error))
        items = []
        pending = [(root, "")]
        while pending:
            node, path = pending.pop()
            items.append(("key", path))
            for value in self.ask(hive.node_values, node):
                name = self.ask(hive.value_key, value, default=None)
                content = self.ask(hive.value_value, value, default=None)
                if name is not None and content is not None:
                    items.append(("value", path, name, content[0] & 0xFFFFFFFF, content[1].hex()))
            for child in reversed(self.ask(hive.node_children, node)):
                name = self.ask(hive.node_name, child, default=None)
                if name is not None and len(items) < 10_000_000:
                    pending.append((child, path + "\\" + name))
        return items

    def ask(self, method, handle, default=()):
        try:
            return method(handle)
        except (RuntimeError, ValueError):
            self.is_partial = True
            return default

    def expected(self, item):
        # Its texts are UTF-8, which has no lone surrogates.
        return None if any(LONE_SURROGATE.search(text) for text in item[1:3]) else item


class Reglookup:
    """Prints texts in ASCII as far as it can, so it is asked for names, types and binary data."""
    name = "reglookup"

    def read(self, file):
        code, out, errors = run("reglookup", file)
        if code != 0 or b"\n" not in out:
            raise Refused(errors.decode(errors="replace").strip())
        told = [line for line in errors.splitlines() if b"converting" not in line and line.strip()]
        self.is_partial = bool(told)
        items = []
        for line in out.splitlines()[1:]:
            fields = line.split(b",")
            if len(fields) < 4:
                continue
            names = [self.name_of(name) for name in fields[0].split(b"/")]
            if names[:2] == ["", ""] and len(names) > 2:
                del names[0]  # a value of the root, "//name"
            if fields[1] == b"KEY":
                items.append(("key", "\\".join(names).rstrip("\\") if len(names) == 2 else
                              "\\".join(names)))
                continue
            number = SHORT_TYPES.get(fields[1].decode(errors="replace"))
            data = None
            if number == 3:
                data = urllib.parse.unquote_to_bytes(fields[2]).hex()
            elif number == 4 and fields[2].startswith(b"0x"):
                data = struct.pack("<I", int(fields[2], 16)).hex()
            items.append(("value", "\\".join(names[:-1]), names[-1], number, data))
        return items

    @staticmethod
    def name_of(field):
        """A name: ASCII, else its bytes in the hive, of which two belong together or not."""
        raw = urllib.parse.unquote_to_bytes(field)
        if len(raw) % 2 == 1 and 0 in raw:
            raw = raw[:-1]  # half a unit, behind a name of a wrong length
        if len(raw) % 2 == 0 and raw and not any(raw[1::2]):
            return raw.decode("utf-16-le")
        return raw.decode("latin-1")

    @staticmethod
    def shown_name(name):
        if any(ord(unit) > 0xFF for unit in name):
            return name.encode("utf-16-le", "surrogatepass").decode("latin-1")
        return name.split("\0")[0]

    def expected(self, item):
        path = "\\".join(self.shown_name(name) for name in item[1].split("\\"))
        if item[0] == "key":
            return ("key", path)
        if item[3] == TYPE_OF_A_KEY:
            return ("key", path + "\\" + self.shown_name(item[2]))
        known = item[3] in SHORT_TYPES.values()
        is_exact = item[3] == 3 and item[4] or item[3] == 4 and len(item[4]) == 8
        return ("value", path, self.shown_name(item[2]), item[3] if known else None,
                item[4] if is_exact else None)


class Export:
    """What regfexport and cregexport print alike: blocks of lines for a key."""

    def read(self, file):
        code, out, errors = run(self.name, file)
        text = out.decode("utf-8", "surrogatepass" if b"\xed" in out else "replace")
        blocks = text.split("\n\nKey path: ")[1:]
        if code != 0 or not blocks:
            raise Refused((errors or out).decode(errors="replace").strip()[:200])
        self.is_partial = False
        items = []
        root = None
        for block in blocks:
            end = block.find("\nKey: ")
            path = block[:end]
            name = path.rsplit("\\", 1)[-1]
            root = path if root is None else root
            path = path[len(root):]
            path = path if path.startswith("\\") or not path else "\\" + path
            items.append(("key", path))
            items.extend(self.values_of(path, block[end + len("\nKey: ") + len(name):]))
        return items

    def values_of(self, path, text):
        at = text.find("\nValue: 0 ")
        number = 0
        while at >= 0:
            start = at + len(f"\nValue: {number} ")
            number += 1
            at = text.find(f"\nValue: {number} ", start)
            value = text[start:at if at >= 0 else None]
            match = re.match(r"(.*?)\nType: [^\n]*?(?:\((\w+)\))?\nData size: (\d+)\n?(.*)", value, re.S)
            if match:
                name, mark, _ = match[1].partition("\nIs corrupted")
                kind = TYPES.get(match[2])
                yield ("value", path, "" if name == "(default)" else name, kind,
                       None if mark else self.data_of(match[4], kind, int(match[3])))

    @staticmethod
    def data_of(text, number, size):
        if size == 0:
            return ""
        rows = re.findall(r"^[0-9a-f]{8}: ((?:[0-9a-f]{2} +){1,16}) ", text, re.M)
        if rows:
            data = "".join(rows).replace(" ", "")
            return data if len(data) == 2 * size else None
        match = re.match(r"Data: (.*)", text, re.S)
        if not match:
            return None
        shown = match[1].rstrip("\n")
        if number in (4, 11) and shown.isdigit() and size in (4, 8):
            return int(shown).to_bytes(size, "little").hex()
        return ("text", shown) if number in TEXT_TYPES else None

    def shown_name(self, name):
        return self.shown(name.split("\0")[0])

    def expected(self, item):
        if any(LONE_SURROGATE.search(text) for text in item[1:3]):
            return None
        path = "\\".join(self.shown_name(name) for name in item[1].split("\\"))
        if item[0] == "key":
            return ("key", path)
        name = self.shown_name(item[2])
        return ("value", path, "" if name == "(default)" else name,
                item[3] if item[3] in TYPES.values() else None, item[4])


class Regfexport(Export):
    """Reads 8-bit names in code page 1252, and gives data of up to three bytes one byte too late."""
    name = "regfexport"

    @staticmethod
    def shown(name):
        def of_1252(match):
            try:
                return match[0].encode("latin-1").decode("cp1252")
            except UnicodeDecodeError:
                return match[0]
        return re.sub("[\x80-\x9f]", of_1252, name)

    def expected(self, item):
        item = super().expected(item)
        if item is None or item[0] == "key":
            return item
        data = item[4]
        if 0 < len(data) <= 6:
            data = None
        return item[:4] + (data,)


class Cregexport(Export):
    name = "cregexport"

    @staticmethod
    def shown(name):
        return name


def same_data(ours, theirs):
    """Whether data in hexadecimal digits is what a reader showed."""
    if ours is None or theirs is None or ours == theirs:
        return True
    if not isinstance(theirs, tuple):
        return False
    try:
        text = bytes.fromhex(ours).decode("utf-16-le")
    except UnicodeDecodeError:
        return True  # no text
    return text.split("\0")[0].rstrip("\n") == theirs[1]


HIVE_READERS = (Hivex, Reglookup, Regfexport)
CREG_READERS = (Cregexport,)


def main():
    """Prints what libhivex reads of a file: whether that is a part only, then an item a line."""
    reader = Hivex()
    items = reader.walk(sys.argv[1])
    for line in (reader.is_partial, *items):
        print(json.dumps(line))


if __name__ == "__main__":
    main()
