#!/usr/bin/env python3
"""Checks that the layers are what CMake and the documents say.

- A library's files include only what it DEPENDS on, itself or through that, and it names no library
  there that they don't include.
- Nothing under src/ includes testing/, and native code stays in its folders.
- The tables of docs/design.md and the picture docs/images/layers.svg show the same layers.

With --draw: draws that picture, with graphviz' dot.
"""
import re
import subprocess
import sys
import xml.etree.ElementTree

from layers import INCLUDE, ROOT, layer_of, reach, read_layers, reduced

DESIGN = ROOT / "docs/design.md"
PICTURE = ROOT / "docs/images/layers.svg"
NATIVE = re.compile(r"#\s*include\s*<(windows|windowsx|winsock2?|commctrl|psapi|tlhelp32|objbase|ole2|"
                    r"oleauto|shellapi|winver|msxml\d?)\.h>|#\s*if.*\b_WIN32\b", re.I)
NATIVE_PLACE = re.compile(r"(^|/)win32/|^components/|_win32\.cpp$")
ROW = re.compile(r"^\| `([a-z0-9/]+)/` \|.*\|([^|]*)\|$", re.M)


def check_depends(layers):
    below = reach(layers)
    for layer in layers.values():
        for name in sorted(set(layer.uses) - below[layer.name]):
            yield f"{layer.uses[name]}: {layer.folder}/ must not include what is in {name}"
        for name in sorted(set(layer.depends) - set(layer.uses)):
            yield f"{layer.cmake}: {layer.name} includes nothing of {name}"


def check_files(layers):
    source = ROOT / "src"
    for file in sorted(source.rglob("*")):
        path = file.relative_to(source).as_posix()
        if file.suffix not in (".h", ".cpp", ".inc"):
            continue
        if layer_of(path, layers) is None:
            yield f"src/{path}: belongs to no library"
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if match and layer_of(match[1], layers) is None:
                yield f"src/{path}:{number}: include isn't rooted at src/: {match[1]}"
            if NATIVE.search(line) and not NATIVE_PLACE.search(path):
                yield f"src/{path}:{number}: native code outside its folders: {line.strip()}"


def check_table(rests_on):
    told = {folder: set(re.findall(r"`([a-z0-9/]+)/`", cell))
            for folder, cell in ROW.findall(DESIGN.read_text(encoding="utf-8"))}
    yield from differences("docs/design.md", told, rests_on)


def check_picture(rests_on):
    told = {}
    edges = []
    for title in xml.etree.ElementTree.parse(PICTURE).iter("{http://www.w3.org/2000/svg}title"):
        names = title.text.split("->")
        if len(names) == 2:
            edges.append(names)
        elif "/" in names[0]:
            told[names[0].rstrip("/")] = set()
    for upper, lower in edges:
        told.setdefault(upper.rstrip("/"), set()).add(lower.rstrip("/"))
    yield from differences("docs/images/layers.svg", told, rests_on)


def differences(where, told, rests_on):
    for folder in sorted(told.keys() | rests_on.keys()):
        shown = {name: " ".join(sorted(layers[folder])) if folder in layers else "no layer"
                 for name, layers in (("there", told), ("in CMake", rests_on))}
        if shown["there"] != shown["in CMake"]:
            yield f"{where}: {folder}/ rests on {shown['in CMake']}, not on {shown['there']}"


def draw(rests_on):
    lines = ['digraph layers { rankdir=TB; nodesep=0.25; ranksep=0.35;',
             'node [shape=box style="rounded,filled" fillcolor="#e3ecf8" color="#444444" '
             'fontname="sans-serif" fontsize=12 height=0.35];', 'edge [color="#666666" arrowsize=0.6];']
    for folder, below in sorted(rests_on.items()):
        colour = {"platform": "#fdf1d0", "ui": "#fdf1d0", "cli": "#dcefe0", "app": "#dcefe0",
                  "components": "#dcefe0"}.get(folder)
        if folder.startswith(("platform/", "ui/")):
            colour = "#f4f4f4"
        lines.append(f'"{folder}/"' + (f' [fillcolor="{colour}"];' if colour else ";"))
        lines += [f'"{folder}/" -> "{other}/";' for other in sorted(below)]
    subprocess.run(["dot", "-Tsvg", "-o", str(PICTURE)], input="\n".join(lines) + "}\n", text=True,
                   check=True)


def main():
    layers = read_layers()
    rests_on = reduced(layers)
    if sys.argv[1:] == ["--draw"]:
        draw(rests_on)
        return 0
    problems = [*check_depends(layers), *check_files(layers), *check_table(rests_on),
                *check_picture(rests_on)]
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
