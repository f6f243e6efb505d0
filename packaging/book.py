#!/usr/bin/python3
"""book.py FOLDER PAGE...: writes pages of docs/ as HTML into the folder, with the files that they show.

A link from page to page becomes one between the HTML pages; one to a file that is no page of these is
dropped and leaves its text.
"""
import pathlib
import re
import shutil
import sys

import markdown

ROOT = pathlib.Path(__file__).parents[1]
PAGE = """<!DOCTYPE html>
<html lang="en-GB">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>{title}</title>
<style>
body {{ font: 16px/1.5 sans-serif; max-width: 48em; margin: 2em auto; padding: 0 1em; color: #222; background: #fff }}
h1, h2, h3 {{ line-height: 1.2 }}
img {{ max-width: 100% }}
table {{ border-collapse: collapse; margin: 1em 0 }}
th, td {{ border: 1px solid #bbb; padding: .3em .6em; text-align: left; vertical-align: top }}
pre {{ background: #f3f3f3; padding: .7em 1em; overflow-x: auto }}
code {{ font-size: 92% }}
</style>
</head>
<body>
{body}
</body>
</html>
"""


def slug(text, separator):
    """The name of a heading in links, as GitHub makes it."""
    return re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", separator)


def page_name(path):
    return "index.html" if path.name == "README.md" else path.stem + ".html"


def convert(source, pages, folder):
    html = markdown.markdown(source.read_text(encoding="utf-8"), output_format="html",
                             extensions=["tables", "toc", "sane_lists"],
                             extension_configs={"toc": {"slugify": slug}})

    def link(match):
        address, text = match[1], match[2]
        path, hash_sign, anchor = address.partition("#")
        if re.match(r"\w+:", address) or not path:
            return match[0]
        target = (source.parent / path).resolve()
        return f'<a href="{page_name(target)}{hash_sign}{anchor}">{text}</a>' if target in pages else text

    def picture(match):
        target = folder / match[1]
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source.parent / match[1], target)
        return match[0]

    html = re.sub(r'<a href="([^"]*)">(.*?)</a>', link, html, flags=re.S)
    re.sub(r'src="([^"]*)"', picture, html)
    title = re.search(r"<h1[^>]*>(.*?)</h1>", html)[1]
    (folder / page_name(source)).write_text(PAGE.format(title=title, body=html), encoding="utf-8")


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    pages = [(ROOT / "docs" / name).resolve() for name in sys.argv[2:]]
    for page in pages:
        convert(page, pages, folder)


if __name__ == "__main__":
    main()
