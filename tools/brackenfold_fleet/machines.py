"""The list of machines: a text file, a path (or whatever --open understands) a line."""
import hashlib
import os
from collections import namedtuple

from . import FleetError

# `number` counts from 0, `entry` is the line, byte for byte as os.fsdecode has it, `identity` names
# the machine's files in the run's folder.
Machine = namedtuple("Machine", "number entry identity")


def identity_of(entry):
    return hashlib.sha256(os.fsencode(entry)).hexdigest()[:20]


def split_list(content, is_null_separated):
    """The entries of a list's bytes. Empty lines count for nothing; a list of Windows' line ends has
    them all."""
    if is_null_separated:
        return [line for line in content.split(b"\0") if line]
    content = content.removeprefix(b"\xef\xbb\xbf")
    if b"\0" in content:
        raise FleetError("the list holds NUL bytes: -0 reads lists that are separated by them")
    lines = [line for line in content.split(b"\n") if line.strip()]
    if lines and all(line.endswith(b"\r") for line in lines):
        lines = [line[:-1] for line in lines]
    return lines


def read_list(content, is_null_separated=False):
    """The machines of a list in its order, and the entries that stand in it more than once."""
    machines, doubled, seen = [], [], set()
    for line in split_list(content, is_null_separated):
        entry = os.fsdecode(line)
        place = os.path.normpath(entry)
        if place in seen:
            doubled.append(entry)
            continue
        seen.add(place)
        machines.append(Machine(len(machines), entry, identity_of(entry)))
    if not machines:
        raise FleetError("the list names no machine")
    return machines, doubled
