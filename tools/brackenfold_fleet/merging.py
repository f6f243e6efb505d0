"""All records of a folder as one: the database, the page, tables for others' tools."""
import gc
import json
import os
import pathlib
import re
import sys

from . import FleetError, exports
from .database import Database
from .page import FleetPage
from .run_folder import BadRecord, RunFolder, parse_record, shown
from .shape import misfit


def declare(parser):
    parser.add_argument("folder", metavar="FOLDER", help="of a run, or any folder of records")
    parser.add_argument("--csv", action="store_true", help="also write fleet.csv")
    parser.add_argument("--timesketch", action="store_true",
                        help="also write fleet.jsonl, a timeline; takes records with --times")


def storable(value):
    """With texts that UTF-8 can hold: lone surrogates become escapes."""
    if isinstance(value, str):
        return "".join(f"\\u{ord(c):04x}" if "\ud800" <= c <= "\udfff" else c for c in value)
    if isinstance(value, dict):
        return {name: storable(member) for name, member in value.items()}
    return [storable(member) for member in value] if isinstance(value, (list, tuple)) else value


NAME = re.compile(rb'"machine":\{"kind":"\w+","name":("(?:[^"\\]|\\.)*")')
HEAD = 65_536  # a record's name stands at its beginning
SURROGATE = re.compile(rb"\\u[dD][89a-fA-F]")


def name_in(path):
    """The name of the machine whose record a file says it is."""
    try:
        if not path.is_file():
            raise BadRecord("is no file")
        with open(path, "rb") as file:
            match = NAME.search(file.read(HEAD))
        if match:
            return json.loads(match[1])
    except OSError as error:
        raise BadRecord(f"can't be read: {error.strerror}") from None
    except ValueError:
        pass
    raise BadRecord("is no record of a scan")


class Records:
    """The records of a folder in the order of the machines' names. Only one of them is in memory at a
    time; what turns out to be none stands in `missing` when all were gone through."""

    def __init__(self, path):
        self.missing = []  # (name, why)
        self.count = 0
        self._places = []  # (name, path)
        self._run = RunFolder(path)
        self._path = path
        if self._run.exists():
            self._listed = {machine.entry: machine for machine in self._run.machines()}
            self._places = [(entry, self._run.record_path(machine))
                            for entry, machine in self._listed.items()]
        elif path.is_dir():
            self._listed = {}
            self._find_any(path)
        else:
            raise FleetError(f"{path} is no folder")
        if not self._places and not self.missing:
            raise FleetError(f"{path} holds no records")
        self._places.sort()

    def _find_any(self, folder):
        seen = set()
        for path in sorted(folder.rglob("*.json")):
            try:
                name = name_in(path)
                if name in seen:
                    raise BadRecord(f"is a second record of {name}")
            except BadRecord as error:
                self.missing.append((str(path.relative_to(folder)), str(error)))
                continue
            seen.add(name)
            self._places.append((name, path))

    def __iter__(self):
        for name, path in self._places:
            try:
                content = path.read_bytes()
                record = parse_record(content, name)
                where = misfit(record)
                if where is not None:
                    raise BadRecord(f"differs from a record's schema at {where}")
            except (BadRecord, OSError) as error:
                self.missing.append(self._why(name, path, error))
                continue
            self.count += 1
            # Only as an escape can a lone surrogate stand in a record.
            yield storable(record) if SURROGATE.search(content) else record
        self.missing = sorted(storable(self.missing))

    def _why(self, name, path, error):
        if name in self._listed:
            ours = f"its record {error}" if isinstance(error, BadRecord) else "was scanned just now"
            return name, self._run.why_missing(self._listed[name]) or ours
        return str(path.relative_to(self._path)), str(error)


class Outputs:
    """New files of a folder that get their names when all of them are whole."""

    def __init__(self, folder):
        self._folder, self._made = folder, []

    def path(self, name):
        path = self._folder / f".{name}.{os.getpid()}.new"
        path.unlink(missing_ok=True)
        self._made.append((path, self._folder / name))
        return path

    def keep(self):
        for beside, path in self._made:
            beside.replace(path)

    def drop(self):
        for beside, _ in self._made:
            beside.unlink(missing_ok=True)


def run(arguments):
    gc.disable()  # no cycles come into being; looking for them takes a fifth of the time
    folder = pathlib.Path(arguments.folder)
    records = Records(folder)
    outputs = Outputs(folder)
    writers = [Database(outputs.path("fleet.db")), FleetPage(outputs.path("fleet.html"))]
    if arguments.csv:
        writers.append(exports.Csv(outputs.path("fleet.csv")))
    if arguments.timesketch:
        writers.append(exports.Timesketch(outputs.path("fleet.jsonl")))
    try:
        for record in records:
            for writer in writers:
                writer.add(record)
        for name, why in records.missing:
            for writer in writers:
                writer.add_missing(name, why)
        for writer in writers:
            writer.finish()
        outputs.keep()
    finally:
        outputs.drop()
    tell(folder, records)
    return 1 if records.missing else 0


def tell(folder, records):
    print(f"{records.count} machines: {folder}/fleet.db and {folder}/fleet.html")
    for name, why in records.missing[:20]:
        print(f"brackenfold-fleet: {shown(name)}: {shown(why)}", file=sys.stderr)
    if len(records.missing) > 20:
        print(f"brackenfold-fleet: and {len(records.missing) - 20} more without a record; the page "
              "lists them all", file=sys.stderr)
