"""The folder of a run: its options and list, the records, and why machines have none.

    run.json         what the run was asked for
    machines.jsonl   the list, an entry a line, as JSON strings
    records/ab/ID    the record of a machine, as `brackenfold scan --record` printed it
    failed/ab/ID     why a machine has none
    lock             held while an engine of this computer works in the folder
    room             given up for what must still be written when the disk is full
"""
import errno
import fcntl
import json
import os
import pathlib
import socket

from . import FleetError
from .machines import Machine, identity_of

FORMAT = 1
ROOM = 64 << 10
NOT_SCANNED = "wasn't scanned yet"
TRY_AGAIN = 4  # the code of a failure that may go by
RECORD_SCHEMA = 2


def shown(text):
    """For a terminal: what isn't printable as escapes."""
    text = str(text)
    if text.isprintable():
        return text
    return "".join(c if c.isprintable() else c.encode("unicode_escape").decode("ascii") for c in text)


def replace_file(path, content):
    """Writes beside and moves, so that the file is the old or the new one."""
    path.parent.mkdir(parents=True, exist_ok=True)
    beside = path.with_name(f".{path.name}.{socket.gethostname()}.{os.getpid()}.new")
    try:
        beside.write_bytes(content)
        beside.replace(path)
    except BaseException:
        beside.unlink(missing_ok=True)
        raise


class BadRecord(Exception):
    """What stands in a file isn't a record that can be used: one clause."""


def parse_record(content, entry=None):
    """The record of a file's bytes, which is that of `entry` if one is given."""
    if not content.endswith(b"\n"):
        raise BadRecord("was cut off")
    try:
        record = json.loads(content)
        schema, name = record["schema"], record["machine"]["name"]
        if isinstance(schema, int) and schema > RECORD_SCHEMA:
            raise BadRecord(f"is of schema {schema}; this program knows {RECORD_SCHEMA}")
        if schema != RECORD_SCHEMA or not isinstance(record["input"]["sha256"], str):
            raise KeyError
    except (ValueError, KeyError, TypeError, RecursionError):
        raise BadRecord("is no record of a scan") from None
    if entry is not None and name != entry:
        raise BadRecord(f"is the record of another machine, {shown(name)}")
    return record


class RunFolder:
    def __init__(self, path):
        self.path = pathlib.Path(path)
        self._lock = None

    # ------------------------------------------------------------ made once

    def exists(self):
        return (self.path / "run.json").exists()

    def create(self, options, machines):
        if self.exists():
            raise FleetError(f"{self.path} holds a run already: `resume` goes on with it, another "
                             "folder begins a new one")
        lines = "".join(json.dumps(machine.entry) + "\n" for machine in machines)
        replace_file(self.path / "machines.jsonl", lines.encode("ascii"))
        self.save_options(options)
        self.keep_room()

    def keep_room(self):
        if not (self.path / "room").exists():
            # Random, as some file systems keep nothing for zeros.
            replace_file(self.path / "room", os.urandom(ROOM))

    def save_options(self, options):
        text = json.dumps({"format": FORMAT, **options}, indent=2) + "\n"
        replace_file(self.path / "run.json", text.encode("ascii"))

    def options(self):
        try:
            options = json.loads((self.path / "run.json").read_bytes())
            if options.pop("format") == FORMAT:
                return options
        except FileNotFoundError:
            raise FleetError(f"{self.path} holds no run: it has no run.json") from None
        except (ValueError, KeyError, AttributeError):
            pass
        raise FleetError(f"{self.path}/run.json is damaged, or of another version")

    def machines(self):
        entries = (self.path / "machines.jsonl").read_bytes().splitlines()
        try:
            parsed = [json.loads(line) for line in entries]
        except ValueError:
            raise FleetError(f"{self.path}/machines.jsonl is damaged") from None
        return [Machine(number, entry, identity_of(entry)) for number, entry in enumerate(parsed)]

    def lock(self):
        """Held until this process ends; an error if another one has it."""
        self.path.mkdir(parents=True, exist_ok=True)
        self._lock = open(self.path / "lock", "a", encoding="ascii")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            if error.errno not in (errno.EAGAIN, errno.EACCES):
                raise
            raise FleetError(f"another run works in {self.path}") from None

    def is_locked(self):
        try:
            with open(self.path / "lock", "rb") as file:
                fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
        except FileNotFoundError:
            return False
        except OSError:
            return True
        return False

    # ------------------------------------------------------------ a machine

    def _file(self, folder, machine):
        return self.path / folder / machine.identity[:2] / f"{machine.identity}.json"

    def record_path(self, machine):
        return self._file("records", machine)

    def read_record(self, machine):
        """None if there is none; a BadRecord for what can't be used."""
        try:
            content = self.record_path(machine).read_bytes()
        except FileNotFoundError:
            return None
        except OSError as error:
            raise BadRecord(f"can't be read: {error.strerror}") from None
        return parse_record(content, machine.entry)

    def has_good_record(self, machine):
        try:
            return self.read_record(machine) is not None
        except BadRecord:
            return False

    def save_record(self, machine, content):
        replace_file(self.record_path(machine), content)
        self._file("failed", machine).unlink(missing_ok=True)

    def save_failure(self, machine, code, message):
        failure = {"machine": machine.entry, "code": code, "error": message}
        content = (json.dumps(failure) + "\n").encode("ascii")
        try:
            replace_file(self._file("failed", machine), content)
        except OSError as error:
            if error.errno not in (errno.ENOSPC, errno.EDQUOT):
                raise
            (self.path / "room").unlink(missing_ok=True)
            replace_file(self._file("failed", machine), content)

    def failure(self, machine):
        """(code, message) of the last try, or None."""
        try:
            failure = json.loads(self._file("failed", machine).read_bytes())
            return failure["code"], failure["error"]
        except FileNotFoundError:
            return None
        except (OSError, ValueError, KeyError, TypeError):
            return 2, "what is kept of its failure is damaged"

    def why_missing(self, machine):
        """None for a machine with a good record, else why it has none."""
        try:
            if self.read_record(machine) is not None:
                return None
            code, message = self.failure(machine) or (None, NOT_SCANNED)
            return message + "; another try may succeed" * (code == TRY_AGAIN)
        except BadRecord as error:
            return f"its record {error}"

    def pending(self):
        return [machine for machine in self.machines() if not self.has_good_record(machine)]

    def drop_leftovers(self):
        """What killed writers of this computer left beside their files."""
        for path in self.path.glob("*/*/.*.new"):
            path.unlink(missing_ok=True)
