#!/usr/bin/env python3
"""debian_changelog.py VERSION EPOCH: prints debian/changelog, made of that version's part of CHANGELOG.md.
EPOCH is the release's time in seconds."""
import email.utils
import pathlib
import re
import sys
import textwrap

CHANGES = pathlib.Path(__file__).parents[1] / "CHANGELOG.md"


def parts(version):
    """(heading, points) of each part of the version, each point as one line."""
    whole = re.search(rf"^## {re.escape(version)}\n(.*?)(?=^## |\Z)", CHANGES.read_text(encoding="utf-8"), re.M | re.S)
    if not whole:
        sys.exit(f"CHANGELOG.md has no part for {version}")
    for piece in re.split(r"^### ", whole[1], flags=re.M):
        heading, *points = re.split(r"^- ", piece, flags=re.M)
        yield heading.strip(), [" ".join(point.split()) for point in points]


def main():
    version, epoch = sys.argv[1], int(sys.argv[2])
    print(f"brackenfold ({version}) unstable; urgency=medium\n")
    for heading, points in parts(version):
        if heading:
            print(f"  [ {heading} ]")
        for point in points:
            print(textwrap.fill(point, 78, initial_indent="  * ", subsequent_indent="    ", break_long_words=False,
                                break_on_hyphens=False))
    print(f"\n -- Tarnwick Labs <brackenfold@tarnwick.example>  {email.utils.formatdate(epoch)}")


if __name__ == "__main__":
    main()
