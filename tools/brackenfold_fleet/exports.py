"""Tables for spreadsheets, and timelines for Timesketch."""
import csv
import json

from .run_folder import shown
from .times import Times, key_path

COLUMNS = ("machine", "verdict", "kind", "path", "sha256", "size", "reasons", "place", "user",
           "registry.path", "technique", "value")


def harmless(cell):
    """A spreadsheet takes what begins so for a formula; an apostrophe in front makes it a text. What
    steers a terminal or turns the writing direction becomes an escape."""
    text = "" if cell is None else shown(cell)
    return "'" + text if text[:1] in ("=", "+", "-", "@") else text


class Csv:
    """A line for each place of each finding, for each suspect setting and ignored thing, and for each
    machine that has none of them or no record."""

    def __init__(self, path):
        self._file = open(path, "w", encoding="utf-8", newline="")
        self._writer = csv.writer(self._file)
        self._writer.writerow(COLUMNS)

    def add(self, record):
        name, verdict = record["machine"]["name"], record["verdict"]
        rows = [*file_rows(record), *helper_rows(record), *setting_rows(record),
                *ignored_rows(record)]
        for row in rows or [{}]:
            row = {"machine": name, "verdict": verdict, **row}
            self._writer.writerow([harmless(row.get(column)) for column in COLUMNS])

    def add_missing(self, name, error):
        self._writer.writerow([harmless(cell) for cell in
                               (name, "no record", *[""] * (len(COLUMNS) - 3), error)])

    def finish(self):
        self._file.close()


def place_cells(place):
    return {"place": f"{place['kind']}: {place['name']}", "user": place["user"],
            "registry.path": (place["registry"] or {}).get("path"),
            "technique": place["technique"]}


def file_rows(record):
    for kind, name in (("file", "files"), ("suspicious", "suspicious")):
        for found in record[name]:
            row = {"kind": kind, "path": found["path"], "sha256": found["sha256"],
                   "size": found["size"], "reasons": " ".join(found["reasons"])}
            for cells in map(place_cells, found["places"]):
                yield row | cells
            if not found["places"]:
                yield row


def helper_rows(record):
    for found in record["bhos"]:
        yield {"kind": "helper-object", "path": found["file"], "reasons": "helper-object",
               **place_cells({**found, "kind": "helper-object", "name": found["clsid"]})}


def setting_rows(record):
    for found in record["settings"]:
        if found["status"] == "i":
            yield {"kind": "setting", "path": found["description"], "user": found["user"],
                   "registry.path": found["registry"]["path"], "technique": found["technique"],
                   "value": found["value"]}


def ignored_rows(record):
    for entry in record.get("ignored", []):
        yield {"kind": f"ignored {entry['kind']}", "path": entry["path"], "sha256": entry["sha256"],
               "place": entry["clsid"], "value": entry["note"]}


def registry_places(record):
    """(what it is, place) of all that was found in the registry."""
    for found in [*record["files"], *record["suspicious"]]:
        for place in found["places"]:
            if place["registry"]:
                yield f"{place['kind']} {place['name']}", place
    for found in record["bhos"]:
        yield f"helper-object {found['clsid']}", found
    for found in record["settings"]:
        if found["status"] == "i":
            yield f"setting {found['registry']['value']}", found


class Timesketch:
    """A line of JSON for each time of a record."""

    def __init__(self, path):
        self._file = open(path, "w", encoding="utf-8")

    def _write(self, **event):
        self._file.write(json.dumps(event) + "\n")

    def add(self, record):
        times, name = Times(record), record["machine"]["name"]
        if times.scanned is None:
            return
        self._write(message=f"{name} scanned: {record['verdict']}", datetime=times.scanned,
                    timestamp_desc="Scan Time", hostname=name)
        self._add_files(record, times, name)
        self._add_keys(record, times, name)

    def _add_files(self, record, times, name):
        for found in [*record["files"], *record["suspicious"]]:
            path, modified = found["path"], times.of_file(found["path"])
            if modified is None:
                continue
            self._write(message=f"{path} ({', '.join(found['reasons'])}) on {name}",
                        datetime=modified,
                        timestamp_desc="Content Modification Time", hostname=name,
                        **{"file.path": path, "file.hash.sha256": found["sha256"],
                           "registry.path": [place["registry"]["path"]
                                             for place in found["places"] if place["registry"]],
                           "threat.technique.id": found["techniques"]})

    def _add_keys(self, record, times, name):
        """Each key once: its time is that of the last change of any value in it."""
        keys = {}
        for what, place in registry_places(record):
            key = (key_path(place).lower(), place["user"])
            keys.setdefault(key, []).append((what, place))
        for found in keys.values():
            place = found[0][1]
            modified = times.of_key(place)
            if modified is None:
                continue
            owner = f" of {place['user']}" if place["user"] else ""
            techniques = {one["technique"] for _, one in found if one["technique"]}
            self._write(message=f"{key_path(place)}{owner}: "
                        f"{', '.join(dict.fromkeys(what for what, _ in found))} on {name}",
                        datetime=modified, timestamp_desc="Content Modification Time", hostname=name,
                        **{"registry.path": list(dict.fromkeys(one["registry"]["path"]
                                                               for _, one in found)),
                           "threat.technique.id": sorted(techniques)})

    def add_missing(self, name, error):
        """Has no time."""

    def finish(self):
        self._file.close()
