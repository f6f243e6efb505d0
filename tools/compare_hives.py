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

- A file that a reader refuses: the others judge it.
- What `registry` itself told it could not read, and hives of a version that it refuses by name.
- Of a reader that gave up somewhere, which all but regfexport tell, what it doesn't have: it judges
  what it has read.
- A name behind its NUL for reglookup and regfexport, which end it there, and names with lone
  surrogates for libhivex and regfexport, which write UTF-8: another reader sees these whole.
- Texts and lists for reglookup, which prints ASCII, and empty data, of which it makes "(null)"; types
  that a reader shows without their number.
- Data of one to three bytes for regfexport, which shows it one byte late, and what it calls corrupted.
- An item that one reader alone sees otherwise, while two others agree with ours: it is printed as
  outvoted.
"""
import collections
import json
import lzma
import pathlib
import re
import subprocess
import sys
import tempfile

import hive_readers

MOST_LINES = 20  # of differences, for one file and reader
FOREIGN_MARKS = {b"regf": hive_readers.HIVE_READERS, b"CREG": hive_readers.CREG_READERS}
OWN_MARKS = (b"WINE REGISTRY Version 2", b"REGEDIT4", b"Windows Registry Editor",
             "\ufeffWindows Registry Editor".encode("utf-16-le"))
UNREADABLE = re.compile(r": could not read(?: (\\.*?))?: (?!it wasn't written)[a-z0-9]")


class Listing:
    """What `registry` printed of a file."""

    def __init__(self, program, file, *options):
        done = subprocess.run([program, "registry", *options, str(file)], capture_output=True)
        self.code = done.returncode
        self.messages = done.stderr.decode("utf-8", "replace")
        self.items = [self.item(json.loads(line)) for line in done.stdout.splitlines()]
        self.items = [item for item in self.items if item]
        self.unreadable = [match[1] or "" for match in UNREADABLE.finditer(self.messages)]
        self.was_replayed = "its logs were replayed" in self.messages

    @staticmethod
    def item(line):
        if "deleted" in line:
            return None
        if "name" not in line:
            return ("key", line["key"])
        return ("value", line["key"], line["name"], line["type"], line["data"])

    def told(self, path):
        """Whether it was said that something at the path or above it could not be read."""
        return any(not prefix or path == prefix or path.startswith(prefix + "\\")
                   for prefix in self.unreadable)


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
    for where in ours.keys() | theirs.keys():
        mine, other = ours.get(where, []), theirs.get(where, [])
        if len(mine) < len(other):
            if not listing.told(where[1]):
                yield where, f"only {reader.name} has {where!r}"
        elif len(mine) > len(other):
            if not reader.is_partial:
                yield where, f"{reader.name} doesn't have {where!r}"
        elif where[0] == "value" and not all(map(same_value, mine, other)):
            yield where, f"{reader.name} has {where!r} as {str(other)[:200]}, not {str(mine)[:200]}"


def judge(listing, file, readers):
    """Asks all readers; returns their names or refusals, and the differences that count."""
    verdicts, found, complete = [], {}, []
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
        if not reader.is_partial:
            complete.append(reader.name)
    disputed = {name: {identity(item) if item[1] is not None else None for item, _ in rows}
                for name, rows in found.items()}
    counted = []
    for name, rows in found.items():
        others = [other for other in complete if other != name]
        for item, text in rows:
            about = identity(item) if item[1] is not None else None
            agreeing = [other for other in others if about not in disputed[other]]
            if len(agreeing) >= 2:
                print(f"  outvoted: {text}")
            else:
                counted.append(text)
    return verdicts, counted


def recovered_items(program, file):
    """What lies beside a hive as its state after the logs; None if nothing does."""
    names = {file.name.lower(), file.stem.lower()}
    for other in sorted(file.parent.iterdir()):
        stem, mark, rest = other.name.partition(".recovered.jsonl")
        if mark and stem.lower() in names and rest in ("", ".xz"):
            opened = lzma.open if rest else open
            with opened(other, "rt", encoding="utf-8") as lines:
                rows = [json.loads(line) for line in lines if line.strip()]
            return [("value", row["k"], row["v"], row["t"], row["d"]) if "v" in row else
                    ("key", row["k"]) for row in rows]
    for other in sorted(file.parent.glob("Recovered*")):
        if other.is_file() and not other.suffix.lower().startswith(".log"):
            return Listing(program, other).items
    return None


def compare_recovered(program, file, replayed):
    expected = recovered_items(program, file)
    if expected is None:
        return []
    if not replayed.was_replayed:
        return ["the logs weren't replayed"] if "written to the end" in replayed.messages else []
    # The root is in every hive, and not in every list.
    ours = collections.Counter(item for item in replayed.items if item != ("key", ""))
    theirs = collections.Counter(item for item in expected if item != ("key", ""))
    print(f"  replayed: {len(replayed.items)} items")
    return ([f"only the recovered file has {item!r}"[:300] for item in theirs - ours] +
            [f"the recovered file doesn't have {item!r}"[:300] for item in ours - theirs])


def is_log(head):
    return head[:4] == b"regf" and head[28:32] not in (b"", b"\0\0\0\0")


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
        return listing, verdicts, found + differing


def compare_file(program, file, head):
    listing = Listing(program, file, "--no-logs")
    verdicts, found = judge(listing, file, FOREIGN_MARKS.get(head[:4], ()))
    if head[:4] == b"regf":
        found += compare_recovered(program, file, Listing(program, file))
    return listing, verdicts, found


def main():
    changer = None
    if sys.argv[1] == "--change":
        changer = sys.argv[2]
        del sys.argv[1:3]
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    files = keys = values = count = 0
    for file in sorted(path for path in folder.rglob("*") if path.is_file()):
        with open(file, "rb") as opened:
            head = opened.read(64)
        readers = FOREIGN_MARKS.get(head[:4], ())
        if is_log(head) or not (readers or head.startswith(OWN_MARKS)):
            continue
        if changer and head[:4] != b"regf":
            continue
        print(file.relative_to(folder))
        if changer:
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
            print(f"  DIFFERENT: {text}".encode("utf-8", "backslashreplace").decode())
        if len(found) > MOST_LINES:
            print(f"  DIFFERENT: and {len(found) - MOST_LINES} more")
    print(f"{files} files, {keys} keys, {values} values, {count} differences")
    return 1 if count else 0


if __name__ == "__main__":
    sys.exit(main())
