#!/usr/bin/env python3
"""compare_hives.py [--change CHANGER] PROGRAM FOLDER: reads registry files with `PROGRAM registry` and
foreign readers.

With --change copies of the hives are changed by CHANGER (tests/formats/ChangeHive.cpp), which takes the
changes back too and compares every byte; what is compared with the readers then is the changed copy.

Hives are read by libhivex, reglookup and regfexport, files of the 95 family by cregexport; Wine's text
and export files have no foreign reader here and are read by ours alone. None of the foreign readers
replays logs, so they are compared with `registry --no-logs`. A hive that has logs to be replayed is
compared, replayed, with a file beside it: NAME.recovered.jsonl (or .xz) of objects k, v, t, d (key,
value, type, data), or else Recovered*, a hive that is whole.

Keys and values are compared one by one. What isn't counted as a difference, and why:

- A file that a reader refuses, or at which it crashes: the others judge it.
- What lies at a key of which `registry` told that it could not read all, and hives of a version that it
  refuses by name.
- Of a reader that gave up somewhere, which all but regfexport tell, what it doesn't have: it judges
  what it has read.
- A name behind its NUL for reglookup and regfexport, which end it there, and names with lone
  surrogates for libhivex and regfexport, which write UTF-8: another reader sees these whole.
- Texts and lists for reglookup, which prints ASCII, and empty data, of which it makes "(null)"; types
  that a reader shows without their number.
- Data of one to three bytes for regfexport, which shows it one byte late, and what it calls corrupted.
- An item that one reader alone sees otherwise, while two others agree with ours: it is printed as
  outvoted.

Where `registry` itself crashes, takes too long or prints what is no document, that is a difference.
"""
import collections
import json
import lzma
import pathlib
import re
import subprocess
import sys
import tempfile
import unicodedata

import hive_readers

MOST_LINES = 20  # of differences, for one file and reader
FOREIGN_MARKS = {b"regf": hive_readers.HIVE_READERS, b"CREG": hive_readers.CREG_READERS}
LOG_TYPES = (1, 2, 6)  # of base blocks
EXPORT_MARKS = ("REGEDIT4", "Windows Registry Editor")
OWN_MARKS = (b"WINE REGISTRY Version 2",
             *(mark.encode(form) for mark in EXPORT_MARKS for form in ("utf-8", "utf-8-sig", "utf-16-le")),
             *(b"\xff\xfe" + mark.encode("utf-16-le") for mark in EXPORT_MARKS))
UNREADABLE = re.compile(r": could not read(?: (\\.*?))?: (?!it wasn't written)[a-z0-9]")


def plain(text):
    """Without what messages show as escapes, and without those."""
    kept = (unit for unit in re.sub(r"\\u[0-9a-f]{4}", "", text)
            if unicodedata.category(unit) not in ("Cc", "Cf", "Cn", "Co", "Cs", "Mn", "Me", "Zl", "Zp"))
    return "".join(kept)


class Listing:
    """What `registry` printed of a file."""

    def __init__(self, program, file, *options):
        self.code, out, self.messages, self.crash = self.run(program, "registry", *options, str(file))
        self.items = []
        try:
            for line in out.splitlines():
                item = self.item(json.loads(line))
                if item:
                    self.items.append(item)
        except (ValueError, KeyError):
            self.crash = self.crash or "registry printed what is no document"
        told = {plain(match[1] or "") for match in UNREADABLE.finditer(self.messages)}
        self.unreadable = {item[1] for item in self.items if item[0] == "key" and plain(item[1]) in told}
        if "" in told:
            self.unreadable.add("")
        self.was_replayed = "its logs were replayed" in self.messages

    @staticmethod
    def run(*command):
        """Exit code, output, messages, and what went wrong with the run itself."""
        try:
            done = subprocess.run(command, capture_output=True, timeout=hive_readers.LONGEST_RUN)
        except subprocess.TimeoutExpired:
            return None, b"", "", "registry takes too long"
        crash = None if done.returncode in (0, 2, 3) else f"registry ended with {done.returncode}"
        return done.returncode, done.stdout, done.stderr.decode("utf-8", "replace"), crash

    @staticmethod
    def item(line):
        if "deleted" in line:
            return None
        if "name" not in line:
            return ("key", line["key"])
        return ("value", line["key"], line["name"], line["type"], line["data"])

    def told_by(self, reader):
        """The keys, in the reader's form, of which it was said that something could not be read."""
        shown = (reader.expected(("key", path)) for path in self.unreadable)
        return {item[1] for item in shown if item}


def lies_at(path, keys):
    """Whether the path is one of the keys or below it."""
    return any(not key or path == key or path.startswith(key + "\\") for key in keys)


def identity(item):
    """What an item is about, by which different readers' sights of it meet."""
    return (hive_readers.cut_names(item[1]), item[2].split("\0")[0] if item[0] == "value" else None)


def group(items):
    """Keys are counted; values are lists under their key and name, in order."""
    groups = collections.defaultdict(list)
    for item in items:
        groups[item[:2] if item[0] == "key" else item[:3]].append(item[3:])
    return groups


def same_value(ours, theirs):
    is_same_type = ours[0] is None or theirs[0] is None or ours[0] == theirs[0]
    return is_same_type and hive_readers.same_data(ours[1], theirs[1])


def differences(listing, reader, items):
    """(item, text) for each thing that the reader sees otherwise than `registry`."""
    asked = [reader.expected(item) for item in listing.items]
    ours = group(item for item in asked if item)
    theirs = group(items)
    told = listing.told_by(reader)
    for where in ours.keys() | theirs.keys():
        mine, other = ours.get(where, []), theirs.get(where, [])
        if len(mine) < len(other):
            if not lies_at(where[1], told):
                yield where, f"only {reader.name} has {where!r}"
        elif len(mine) > len(other):
            if not reader.is_partial and not lies_at(where[1], told):
                yield where, f"{reader.name} doesn't have {where!r}"
        elif where[0] == "value" and not all(map(same_value, mine, other)):
            yield where, f"{reader.name} has {where!r} as {str(other)[:200]}, not {str(mine)[:200]}"


def judge(listing, file, readers):
    """Asks all readers; returns their names or refusals, and the differences that count."""
    verdicts, found, seen = [], {}, {}
    for reader in (kind() for kind in readers):
        try:
            items = reader.read(str(file))
        except hive_readers.Refused as refusal:
            verdicts.append(f"{reader.name} refuses")
            print(f"  {reader.name}: {str(refusal).splitlines()[0] if str(refusal) else 'refused'}")
            continue
        verdicts.append(reader.name + (" in part" if reader.is_partial else ""))
        if listing.code == 2:
            if "known are" in listing.messages or "delta hive" in listing.messages:
                continue
            found[reader.name] = [((None, None), f"registry refuses what {reader.name} reads")]
            continue
        found[reader.name] = list(differences(listing, reader, items))
        # Who gave up somewhere speaks for what it has read.
        seen[reader.name] = {identity(item) for item in items} if reader.is_partial else None
    disputed = {name: {identity(item) if item[1] is not None else None for item, _ in rows}
                for name, rows in found.items()}
    counted = []
    for name, rows in found.items():
        for item, text in rows:
            about = identity(item) if item[1] is not None else None
            agreeing = [other for other, has in seen.items() if other != name and
                        about not in disputed[other] and (has is None or about in has)]
            if len(agreeing) >= 2:
                print(f"  outvoted: {text}")
            else:
                counted.append(text)
    return verdicts, counted


def recovered_states(program, file):
    """(name, items) of what lies beside a hive as its state after the logs."""
    named, others = [], []
    for other in sorted(file.parent.iterdir()):
        stem, mark, rest = other.name.lower().partition(".recovered.jsonl")
        if mark and rest in ("", ".xz"):
            belongs = stem in (file.name.lower(), file.stem.lower())
            (named if belongs else others).append((other.name, rows_of(other)))
        elif other.name.lower().startswith("recovered") and other.is_file() and is_hive(other):
            others.append((other.name, Listing(program, other, "--no-logs").items))
    return named or others


def rows_of(file):
    opened = lzma.open if file.suffix.lower() == ".xz" else open
    with opened(file, "rt", encoding="utf-8") as lines:
        rows = [json.loads(line) for line in lines if line.strip()]
    return [("value", row["k"], row["v"], row["t"], row["d"].lower()) if "v" in row else
            ("key", row["k"]) for row in rows]


def compare_recovered(program, file):
    if file.name.lower().startswith("recovered"):
        return []
    replayed = Listing(program, file)
    is_dirty = "written to the end" in replayed.messages
    if replayed.crash or not is_dirty:
        return crashes(replayed)
    states = recovered_states(program, file)
    if not states:
        print("  it is dirty, and nothing beside it tells what it was to become")
        return []
    if not replayed.was_replayed:
        return ["the logs weren't replayed"]
    # Several Windows may have written several states; one of them is it.
    name, found = min(((name, state_differences(replayed, items)) for name, items in states),
                      key=lambda state: len(state[1]))
    print(f"  replayed: {len(replayed.items)} items, held against {name}")
    return found


def state_differences(replayed, expected):
    # The root is in every hive, and not in every list.
    ours = collections.Counter(item for item in replayed.items if item != ("key", ""))
    theirs = collections.Counter(item for item in expected if item != ("key", ""))
    return ([f"only the recovered state has {item!r}"[:300] for item in theirs - ours] +
            [f"the recovered state doesn't have {item!r}"[:300] for item in ours - theirs])


def is_hive(file):
    head = head_of(file)
    return head[:4] == b"regf" and not is_log(head)


def is_log(head):
    if head[:4] != b"regf" or int.from_bytes(head[28:32], "little") not in LOG_TYPES:
        return False
    # SYSTEM.ALT is a hive of type 1, which logs have too.
    bitmap = 512 * min(max(int.from_bytes(head[44:48], "little"), 1), 8)
    is_alternate = head[28] == 1 and head[4096:4100] == b"hbin" and head[bitmap:bitmap + 4] != b"DIRT"
    return not is_alternate


def changed_copy(changer, file, scratch):
    """What the changer made of a copy (None if it refused), and what went wrong."""
    done = subprocess.run([changer, str(file), scratch], capture_output=True, text=True)
    print(f"  {done.stdout.strip() or done.stderr.strip()[-300:]}")
    changed = pathlib.Path(scratch) / "changed"
    return (changed if changed.exists() else None,
            [] if done.returncode == 0 else [f"change_hive ended with {done.returncode}"])


def compare_hive(program, changer, file):
    """A changed copy of a hive; its listing, the readers' verdicts, and what differs."""
    with tempfile.TemporaryDirectory() as scratch:
        copy, found = changed_copy(changer, file, scratch)
        if copy is None:
            return None, [], found
        listing = Listing(program, copy, "--no-logs")
        verdicts, differing = judge(listing, copy, hive_readers.HIVE_READERS)
        return listing, verdicts, found + differing + crashes(listing)


def crashes(listing):
    return [listing.crash] if listing.crash else []


def compare_file(program, file, head):
    listing = Listing(program, file, "--no-logs")
    verdicts, found = judge(listing, file, FOREIGN_MARKS.get(head[:4], ()))
    found += crashes(listing)
    if head[:4] == b"regf":
        found += compare_recovered(program, file)
    return listing, verdicts, found


def head_of(file):
    """What a file begins with; an OSError if it can't be read."""
    with open(file, "rb") as opened:
        return opened.read(4100)


def listed(folder, only_hives):
    """(file, head) of each registry file, or (file, error) of one that can't be read."""
    for file in sorted(path for path in folder.rglob("*") if path.is_file()):
        try:
            head = head_of(file)
        except OSError as error:
            yield file, error
            continue
        marks = (b"regf",) if only_hives else (*FOREIGN_MARKS, *OWN_MARKS)
        if head.startswith(marks) and not is_log(head):
            yield file, head


def main():
    changer = None
    if sys.argv[1] == "--change":
        changer = sys.argv[2]
        del sys.argv[1:3]
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    sys.stdout.reconfigure(errors="backslashreplace")  # of names that are no UTF-8
    files = keys = values = count = 0
    for file, head in listed(folder, changer is not None):
        print(file.relative_to(folder))
        listing, verdicts = None, []
        if isinstance(head, OSError):
            found = [str(head)]
        elif changer:
            listing, verdicts, found = compare_hive(program, changer, file)
        else:
            listing, verdicts, found = compare_file(program, file, head)
        files += 1
        items = listing.items if listing else []
        keys += sum(item[0] == "key" for item in items)
        values += sum(item[0] == "value" for item in items)
        count += len(found)
        print(f"  {len(items)} items; {', '.join(verdicts) or 'no foreign reader'}")
        for text in found[:MOST_LINES]:
            print(f"  DIFFERENT: {text}")
        if len(found) > MOST_LINES:
            print(f"  DIFFERENT: and {len(found) - MOST_LINES} more")
    print(f"{files} files, {keys} keys, {values} values, {count} differences")
    return 1 if count else 0


if __name__ == "__main__":
    sys.exit(main())
