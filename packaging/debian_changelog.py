#!/usr/bin/env python3
"""debian_changelog.py VERSION EPOCH: prints debian/changelog, made of that version's part of CHANGELOG.md.
EPOCH is the release's time in seconds."""
import email.utils
import pathlib
import re
import sys
import textwrap

CHANGES = pathlib.Path(__file__).parents[1] / "CHANGELOG.md"


def entries(version):
    """The points of the version, each as one line."""
    part = re.search(rf"^## {re.escape(version)}\n(.*?)(?=^## |\Z)", CHANGES.read_text(encoding="utf-8"), re.M | re.S)
    if not part:
        sys.exit(f"CHANGELOG.md has no part for {version}")
    return [" ".join(point.split()) for point in re.split(r"^- ", part[1], flags=re.M) if point.strip()]


def main():
    version, epoch = sys.argv[1], int(sys.argv[2])
    print(f"brackenfold ({version}) unstable; urgency=medium\n")
    for entry in entries(version):
        print(textwrap.fill(entry, 78, initial_indent="  * ", subsequent_indent="    ", break_long_words=False,
                            break_on_hyphens=False))
    print(f"\n -- Tarnwick Labs <brackenfold@tarnwick.example>  {email.utils.formatdate(epoch)}")


if __name__ == "__main__":
    main()
