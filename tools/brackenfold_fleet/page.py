"""fleet.html: one page with all its data, which asks nothing of any network."""
import base64
import hashlib
import json
import pathlib

from . import FleetError
from .shape import VERDICTS
from .times import Times

HERE = pathlib.Path(__file__).resolve().parent
# In the sources, and where the package has it.
PLACES = (HERE.parent.parent / "src/resources/page", HERE.parent / "page")
MARK = "\0data\0"  # in none of the page's parts


def read_part(name):
    for place in PLACES:
        if (place / name).exists():
            return (place / name).read_text(encoding="utf-8")
    raise FleetError(f"{name}, a part of the page, is missing in {PLACES[0]} and {PLACES[1]}")


def source_hash(text):
    """By which the page's policy knows its own script and style."""
    digest = hashlib.sha256(text.encode()).digest()
    return "sha256-" + base64.b64encode(digest).decode("ascii")


def page_around_data():
    """What stands before and behind the data."""
    style, script = read_part("page.css"), read_part("page.js")
    page = read_part("page.html")
    for mark, text in (("@STYLE_HASH@", source_hash(style)), ("@SCRIPT_HASH@", source_hash(script)),
                       ("@DATA@", MARK), ("@STYLE@", style), ("@SCRIPT@", script)):
        page = page.replace(mark, text, 1)
    return page.split(MARK)


def embedded(value):
    """JSON that ends no script element, whatever its texts are."""
    text = json.dumps(value, separators=(",", ":"))
    return text.replace("&", "\\u0026").replace("<", "\\u003c").replace(">", "\\u003e")


class Numbered:
    """Things that get a number when they are met first."""

    def __init__(self):
        self.numbers = {}

    def __call__(self, thing):
        return self.numbers.setdefault(thing, len(self.numbers))

    def all(self):
        return list(self.numbers)


class FleetPage:
    """Collects records; what machines have in common is kept once."""

    def __init__(self, path):
        self._path = path
        self._texts, self._findings = Numbered(), Numbered()
        self._settings, self._unreadable, self._ignored = Numbered(), Numbered(), Numbered()
        self._machines, self._missing = [], []

    def _text(self, text):
        if not text:
            return -1
        texts = self._texts.numbers
        return texts.setdefault(text, len(texts))

    def _places(self, places):
        return tuple(tuple(map(self._text, (
            place["kind"], place["name"], place["user"], (place["registry"] or {}).get("path"),
            place["technique"]))) for place in places)

    def _file(self, kind, found):
        known = [f"known as {found['known']['name']}"] if found["known"] else []
        return self._findings((
            kind, self._text(found["path"]), self._text(found["sha256"]), found["size"],
            self._text(found["company"]), -1, self._text(" ".join(found["reasons"] + known)),
            self._text(" ".join(found["techniques"])), self._places(found["places"])))

    def _helper_object(self, found):
        place = {**found, "kind": "helper-object", "name": found["clsid"]}
        return self._findings((
            2, self._text(found["file"]), -1, 0, -1, self._text(found["clsid"]),
            self._text("helper-object"), self._text(found["technique"]), self._places([place])))

    def add(self, record):
        times = Times(record)
        findings = [*(self._file(0, found) for found in record["files"]),
                    *(self._file(1, found) for found in record["suspicious"]),
                    *map(self._helper_object, record["bhos"])]
        settings = [self._settings(tuple(map(self._text, (
            found["description"], found["value"], found["status"], found["user"],
            found["registry"]["path"])))) for found in record["settings"]
            if found["status"] == "i"]
        unreadable = [self._unreadable(tuple(map(self._text, (
            entry["kind"], entry["name"], entry["error"])))) for entry in record["unreadable"]]
        ignored = [self._ignored(tuple(map(self._text, (
            entry["kind"], entry["path"], entry["clsid"], entry["sha256"], entry["note"],
            entry["date"])))) for entry in record.get("ignored", [])]
        machine = record["machine"]
        self._machines.append((
            machine["name"], VERDICTS.index(record["verdict"]), self._text(machine["windows"]),
            self._text(", ".join(machine["users"])), findings, settings, unreadable,
            ignored, times.scanned or "", times.oldest_file or ""))

    def add_missing(self, name, error):
        self._missing.append((name, error))

    def finish(self):
        before, behind = page_around_data()
        data = {"texts": self._texts.all(), "findings": self._findings.all(),
                "settings": self._settings.all(), "unreadable": self._unreadable.all(),
                "ignored": self._ignored.all(), "machines": self._machines,
                "missing": self._missing}
        with open(self._path, "w", encoding="utf-8") as file:
            file.write(before)
            file.write(embedded(data))
            file.write(behind)
