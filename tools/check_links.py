#!/usr/bin/env python3
"""Checks the documents' links: each file and each heading that one names is there, every page of docs/ can
be reached from its index, docs/README.md, and every picture is shown by one. Addresses of the web aren't
asked for."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parents[1]
DOCS = ROOT / "docs"
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ (.+?)#*$", re.M)


def slug(heading):
    """The name of a heading in links, as GitHub makes it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading.strip().lower())
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


def links(page):
    """The files and headings that a page names: (file, anchor)."""
    text = re.sub(r"^ {4}.*$", "", page.read_text(encoding="utf-8"), flags=re.M)
    for address in LINK.findall(re.sub(r"`[^`\n]*`", "", text)):
        if not re.match(r"\w+:", address):
            path, _, anchor = address.partition("#")
            yield (page.parent / path).resolve() if path else page, anchor


def bad_links(page):
    for target, anchor in links(page):
        name = target.relative_to(ROOT) if target.is_relative_to(ROOT) else target
        if not target.exists():
            yield f"{page.relative_to(ROOT)}: {name} isn't there"
        elif anchor and slug_missing(target, anchor):
            yield f"{page.relative_to(ROOT)}: {name} has no heading #{anchor}"


def slug_missing(target, anchor):
    return anchor not in {slug(heading) for heading in HEADING.findall(target.read_text(encoding="utf-8"))}


def reached(start):
    """All files that are linked from the page, directly or by others."""
    seen, waiting = {start}, [start]
    while waiting:
        for target, _ in links(waiting.pop()):
            if target not in seen:
                seen.add(target)
                if target.suffix == ".md" and target.exists():
                    waiting.append(target)
    return seen


def main():
    pages = sorted([*ROOT.glob("*.md"), *DOCS.rglob("*.md")])
    problems = [problem for page in pages for problem in bad_links(page)]
    in_book = reached(DOCS / "README.md")
    for file in sorted([*DOCS.rglob("*.md"), *(DOCS / "images").iterdir()]):
        if file not in in_book:
            problems.append(f"{file.relative_to(ROOT)}: nothing that docs/README.md leads to names it")
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
