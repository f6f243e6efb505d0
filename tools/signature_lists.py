"""The signature lists as files: reading, checking, writing, and the summary that a test compares.

Each list is a text file with one integer a line, ascending, without repeats, each between 1 and
2147483647. The sizes and the hashes of a pair aren't parallel.
"""

import pathlib

DIRECTORY = pathlib.Path(__file__).resolve().parent.parent / "src/resources/signatures"
SUMMARY = DIRECTORY.parents[2] / "tests/detection/signature_summary.txt"
KINDS = ("parasite", "good")
NAMES = ("parasite_sizes", "parasite_hashes", "good_sizes", "good_hashes")
MAXIMUM = 0x7FFFFFFF
SECTOR = 512
SHOWN_AT_EACH_END = 4


class ListError(Exception):
    """A list that breaks its rules, or that would."""


def read(name, directory=DIRECTORY):
    path = directory / f"{name}.txt"
    values = []
    for number, line in enumerate(path.read_text("ascii").splitlines(), 1):
        if not line.isdecimal():
            raise ListError(f"{path}:{number}: not an integer: {line!r}")
        values.append(int(line))
    check(name, values)
    return values


def check(name, values):
    for value in values:
        if not 1 <= value <= MAXIMUM:
            raise ListError(f"{name}: {value} is not between 1 and {MAXIMUM}")
    for before, after in zip(values, values[1:]):
        if before >= after:
            raise ListError(f"{name}: {after} stands behind {before}")


def read_all(directory=DIRECTORY):
    lists = {name: read(name, directory) for name in NAMES}
    check_pairs(lists)
    return lists


def check_pairs(lists):
    shared = set(lists["parasite_hashes"]) & set(lists["good_hashes"])
    if shared:
        raise ListError(f"hashes both of parasites and of good files: {sorted(shared)}")


def write_all(lists, directory=DIRECTORY, summary_path=SUMMARY):
    """Checks everything before the first file is written, and replaces each file at once."""
    for name in NAMES:
        check(name, lists[name])
    check_pairs(lists)
    for name in NAMES:
        replace(directory / f"{name}.txt", "".join(f"{value}\n" for value in lists[name]))
    replace(summary_path, summary(lists))


def replace(path, text):
    fresh = path.with_name(path.name + ".new")
    fresh.write_text(text, "ascii", newline="\n")
    fresh.replace(path)


def summary(lists):
    lines = []
    for name in NAMES:
        values = lists[name]
        first = " ".join(map(str, values[:SHOWN_AT_EACH_END]))
        last = " ".join(map(str, values[-SHOWN_AT_EACH_END:]))
        lines.append(f"{name}: {len(values)}, {first} ... {last}")
    for kind in KINDS:
        multiples = sum(value % SECTOR == 0 for value in lists[f"{kind}_sizes"])
        lines.append(f"{kind} sizes that are multiples of {SECTOR}: {multiples}")
    for what in ("sizes", "hashes"):
        shared = len(set(lists[f"parasite_{what}"]) & set(lists[f"good_{what}"]))
        lines.append(f"{what} in both lists: {shared}")
    return "".join(f"{line}\n" for line in lines)
