"""Whether a record has the members that are read of it. Records come from anywhere; docs/schema tells
all that `brackenfold scan --record` promises."""

NUMBER = int  # of 64 bits, as the database has them
TEXT, TRUTH, ANY_TEXT = (str,), (bool,), (str, type(None))
VERDICTS = ("parasites", "incomplete", "clean")
REGISTRY = {"hive": TEXT, "key": TEXT, "path": TEXT}
PLACED = {"user": ANY_TEXT, "view": ANY_TEXT, "registry|null": REGISTRY, "technique": ANY_TEXT}
FILE = {"path": TEXT, "reasons": [TEXT], "places": [{"kind": TEXT, "name": TEXT, **PLACED}],
        "exists": TRUTH, "size": NUMBER, "hash": NUMBER, "sha256": ANY_TEXT, "company": TEXT,
        "description": TEXT, "techniques": [TEXT], "known|null": {"name": TEXT}}
RECORD = {
    "machine": {"kind": TEXT, "name": TEXT, "windows": TEXT, "family": TEXT, "users": [TEXT]},
    "program": TEXT, "signatures": [{"sha256": TEXT}], "input": {"sha256": TEXT}, "verdict": TEXT,
    "files": [FILE], "suspicious": [FILE], "bhos": [{"clsid": TEXT, "file": TEXT, **PLACED}],
    "settings": [{"number": NUMBER, "description": TEXT, "value": TEXT, "status": TEXT,
                  "user": ANY_TEXT, "registry": {**REGISTRY, "value": TEXT}, "technique": ANY_TEXT}],
    "unreadable": [{"kind": TEXT, "name": TEXT, "error": TEXT}],
    "ignored?": [{"kind": TEXT, "path": TEXT, "clsid": ANY_TEXT, "sha256": ANY_TEXT, "view": ANY_TEXT,
                  "note": TEXT, "date": TEXT}],
    "times?": {"scanned": TEXT, "files": [{"path": TEXT, "modified": TEXT}],
               "keys?": [{"path": TEXT, "user": ANY_TEXT, "modified": TEXT}]}}


def checker(shape):
    """A function that says where a value differs from the shape, None if it doesn't. A tuple names the
    types of a leaf, a list holds the shape of its members. A member whose name ends in ? may be missing."""
    if isinstance(shape, tuple):
        return lambda value: None if type(value) in shape else ""
    if isinstance(shape, list):
        return list_checker(checker(shape[0]))
    leaves = [(name, member) for name, member in shape.items() if isinstance(member, tuple)]
    numbers = [name for name, member in shape.items() if member is NUMBER]
    others = [(name.removesuffix("?").removesuffix("|null"), name, checker(member))
              for name, member in shape.items() if isinstance(member, (dict, list))]

    def check(value):
        if type(value) is not dict:
            return ""
        for name, types in leaves:
            if name not in value or type(value[name]) not in types:
                return "." + name
        for name in numbers:
            number = value.get(name)
            if type(number) is not int or not -1 << 63 <= number < 1 << 63:
                return "." + name
        for name, mark, inner in others:
            if mark.endswith("?") and name not in value:
                continue
            if mark.endswith("|null") and name in value and value[name] is None:
                continue
            where = inner(value.get(name))
            if where is not None:
                return f".{name}{where}"
        return None
    return check


def list_checker(inner):
    def check(value):
        if type(value) is not list:
            return ""
        for number, member in enumerate(value):
            where = inner(member)
            if where is not None:
                return f"[{number}]{where}"
        return None
    return check


check_record = checker(RECORD)


def misfit(record):
    """Where a record isn't as it should be, such as files[3].size; None for a good one."""
    where = check_record(record)
    if where is None and record["verdict"] not in VERDICTS:
        where = ".verdict"
    return where and where.lstrip(".")
