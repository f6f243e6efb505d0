"""fleet.db: what all records say, in SQLite."""
import collections
import json
import sqlite3

from .times import Times

# docs/fleet.md explains these tables.
TABLES = """
CREATE TABLE machines (
    id INTEGER PRIMARY KEY, name TEXT NOT NULL, kind TEXT NOT NULL, windows TEXT NOT NULL,
    family TEXT NOT NULL, users TEXT NOT NULL, verdict TEXT NOT NULL, program TEXT NOT NULL,
    signatures TEXT NOT NULL, input_sha256 TEXT NOT NULL, scanned TEXT);
CREATE TABLE files (
    id INTEGER PRIMARY KEY, sha256 TEXT, size INTEGER NOT NULL, hash INTEGER NOT NULL,
    company TEXT NOT NULL, description TEXT NOT NULL);
CREATE TABLE findings (
    id INTEGER PRIMARY KEY, machine_id INTEGER NOT NULL REFERENCES machines, kind TEXT NOT NULL,
    path TEXT NOT NULL, file_id INTEGER REFERENCES files, clsid TEXT, reasons TEXT NOT NULL,
    techniques TEXT NOT NULL, modified TEXT, known TEXT);
CREATE TABLE places (
    finding_id INTEGER NOT NULL REFERENCES findings, kind TEXT NOT NULL, name TEXT NOT NULL,
    user TEXT, view TEXT, registry_hive TEXT, registry_key TEXT, registry_value TEXT,
    technique TEXT, key_modified TEXT);
CREATE TABLE settings (
    machine_id INTEGER NOT NULL REFERENCES machines, number INTEGER NOT NULL,
    description TEXT NOT NULL, value TEXT NOT NULL, status TEXT NOT NULL, user TEXT,
    registry_hive TEXT NOT NULL, registry_key TEXT NOT NULL, registry_value TEXT NOT NULL,
    technique TEXT, key_modified TEXT);
CREATE TABLE ignored (
    machine_id INTEGER NOT NULL REFERENCES machines, kind TEXT NOT NULL, path TEXT NOT NULL,
    clsid TEXT, sha256 TEXT, view TEXT, note TEXT NOT NULL, date TEXT NOT NULL);
CREATE TABLE unreadable (
    machine_id INTEGER NOT NULL REFERENCES machines, kind TEXT NOT NULL, name TEXT NOT NULL,
    error TEXT NOT NULL);
CREATE TABLE missing (name TEXT NOT NULL, error TEXT NOT NULL);
"""
INDEXES = """
CREATE INDEX findings_by_machine ON findings (machine_id);
CREATE INDEX findings_by_file ON findings (file_id);
CREATE INDEX places_by_finding ON places (finding_id);
CREATE INDEX settings_by_machine ON settings (machine_id);
"""


ROWS_AT_ONCE = 2000


class Database:
    """Filled with one record after the other; the same records in the same order make the same
    file."""

    def __init__(self, path):
        self._connection = sqlite3.connect(path, isolation_level=None)
        self._connection.executescript(
            "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA page_size = 4096;" + TABLES)
        self._connection.execute("BEGIN")
        self._machines = self._findings = 0
        self._files = {}
        self._waiting = collections.defaultdict(list)

    def _insert(self, table, *rows):
        waiting = self._waiting[table]
        waiting += rows
        if len(waiting) > ROWS_AT_ONCE:
            self._write(table)

    def _write(self, table):
        rows = self._waiting.pop(table, None)
        if rows:
            marks = ",".join("?" * len(rows[0]))
            self._connection.executemany(f"INSERT INTO {table} VALUES ({marks})", rows)

    def add(self, record):
        self._machines += 1
        machine, self._times = record["machine"], Times(record)
        signatures = [entry["sha256"] for entry in record["signatures"]]
        self._insert("machines", (
            self._machines, machine["name"], machine["kind"], machine["windows"],
            machine["family"], json.dumps(machine["users"]), record["verdict"], record["program"],
            " ".join(signatures), record["input"]["sha256"], self._times.scanned))
        for kind, name in (("file", "files"), ("suspicious", "suspicious")):
            for found in record[name]:
                self._add_file(kind, found)
        for found in record["bhos"]:
            finding = self._add_finding("helper-object", found["file"], None, found["clsid"],
                                        "helper-object", found["technique"] or "", None, None)
            self._add_places(finding, [{**found, "kind": "helper-object",
                                        "name": found["clsid"]}])
        self._insert("settings", *(
            (self._machines, found["number"], found["description"], found["value"],
             found["status"], found["user"], *registry_of(found), found["technique"],
             self._times.of_key(found))
            for found in record["settings"] if found["status"]))
        self._insert("ignored", *(
            (self._machines, entry["kind"], entry["path"], entry["clsid"], entry["sha256"],
             entry["view"], entry["note"], entry["date"])
            for entry in record.get("ignored", [])))
        self._insert("unreadable", *((self._machines, entry["kind"], entry["name"], entry["error"])
                                     for entry in record["unreadable"]))

    def _add_file(self, kind, found):
        content = (found["sha256"], found["size"], found["hash"], found["company"],
                   found["description"])
        number = None
        if found["exists"]:
            number = self._files.get(content)
            if number is None:
                number = self._files[content] = len(self._files) + 1
                self._insert("files", (number, *content))
        finding = self._add_finding(kind, found["path"], number, None, " ".join(found["reasons"]),
                                    " ".join(found["techniques"]),
                                    self._times.of_file(found["path"]),
                                    found["known"] and found["known"]["name"])
        self._add_places(finding, found["places"])

    def _add_finding(self, *cells):
        self._findings += 1
        kind, *rest = cells
        self._insert("findings", (self._findings, self._machines, kind, *rest))
        return self._findings

    def _add_places(self, finding, places):
        self._insert("places", *(
            (finding, place["kind"], place["name"], place["user"], place["view"],
             *registry_of(place), place["technique"], self._times.of_key(place))
            for place in places))

    def add_missing(self, name, error):
        self._insert("missing", (name, error))

    def finish(self):
        for table in list(self._waiting):
            self._write(table)
        self._connection.execute("COMMIT")
        self._connection.executescript(INDEXES)
        self._connection.close()


def registry_of(found):
    registry = found["registry"] or {}
    return registry.get("hive"), registry.get("key"), registry.get("value")
