#!/usr/bin/env python3
"""Prints size and content hash of files, and adds them to the signature lists.

  tools/add_signature.py FILE...              prints only
  tools/add_signature.py --parasite FILE...   also adds them to the lists of parasites
  tools/add_signature.py --good FILE...       also adds them to the lists of good files

A size and a hash go into both lists of a pair, in order and without repeats. All files are checked
before any list is changed. The summary of the lists that the tests compare is written anew, so that
a change of the lists shows there too.
"""

import argparse
import bisect
import pathlib
import sys

import signature_lists
from content_hash import MAXIMUM, content_hash
from signature_lists import ListError


def identify(path):
    data = path.read_bytes()
    return len(data), content_hash(data)


def reject_unusable(path, size, value):
    if size == 0:
        raise ListError(f"{path}: an empty file can't be told from a missing one")
    if size > MAXIMUM:
        raise ListError(f"{path}: larger than {MAXIMUM} bytes")
    if value == 0:
        raise ListError(f"{path}: hash 0 stands for a file that can't be read")


def insert(values, value):
    """True if it is new."""
    at = bisect.bisect_left(values, value)
    if at < len(values) and values[at] == value:
        return False
    values.insert(at, value)
    return True


def add(lists, kind, size, value):
    """What became of size and hash, for the user."""
    other = {"parasite": "good", "good": "parasite"}[kind]
    if value in lists[f"{other}_hashes"]:
        raise ListError(f"hash {value} stands among the {other} hashes")
    new_size = insert(lists[f"{kind}_sizes"], size)
    new_hash = insert(lists[f"{kind}_hashes"], value)
    return f"size {'added' if new_size else 'known'}, hash {'added' if new_hash else 'known'}"


def run(files, kind, directory=signature_lists.DIRECTORY, summary_path=signature_lists.SUMMARY):
    """The lines to print. Nothing is written if anything is wrong."""
    lines = []
    lists = signature_lists.read_all(directory) if kind else None
    for path in files:
        size, value = identify(path)
        outcome = ""
        if kind:
            reject_unusable(path, size, value)
            try:
                outcome = "\t" + add(lists, kind, size, value)
            except ListError as error:
                raise ListError(f"{path}: {error}") from None
        lines.append(f"{size}\t{value}\t{path}{outcome}")
    if kind:
        signature_lists.write_all(lists, directory, summary_path)
    return lines


def main():
    parser = argparse.ArgumentParser(description="Size and content hash of files.")
    kinds = parser.add_mutually_exclusive_group()
    for kind in signature_lists.KINDS:
        kinds.add_argument(f"--{kind}", dest="kind", action="store_const", const=kind,
                           help=f"add the files to the {kind} lists")
    parser.add_argument("files", nargs="+", type=pathlib.Path, metavar="FILE")
    arguments = parser.parse_args()
    try:
        print("\n".join(run(arguments.files, arguments.kind)))
    except (ListError, OSError) as error:
        sys.exit(f"add_signature: {error}")


if __name__ == "__main__":
    main()
