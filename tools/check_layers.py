#!/usr/bin/env python3
"""Checks that every include under src/ points down the layers, and that native headers stay out.

A layer is a folder; the longest folder name that fits a file is its layer. Each may include itself
and what is listed for it.
"""
import pathlib
import re
import sys

BASE = ["base"]
FORMATS = BASE + ["formats"]
PLATFORM = FORMATS + ["platform"]
SERVICES = PLATFORM + ["ui", "resources", "services"]
IDENTITY = SERVICES + ["identity"]
PROCESSES = IDENTITY + ["processes"]
DETECTION = PROCESSES + ["detection"]
REMOVAL = DETECTION + ["removal"]
PANELS = REMOVAL + ["panels"]
SUPPORT = REMOVAL + ["support"]
APP = sorted(set(PANELS + SUPPORT)) + ["app"]

ALLOWED = {
    "base": BASE,
    "formats": FORMATS,
    "ui": BASE + ["ui"],
    "ui/terminal": BASE + ["ui"],
    "ui/win32": BASE + ["ui"],
    "platform": BASE + ["platform"],
    "platform/forward": BASE + ["platform"],
    "platform/record": BASE + ["platform", "platform/forward"],
    "platform/host": BASE + ["platform", "platform/model", "platform/image"],
    "platform/witness": BASE + ["platform", "platform/forward"],
    "platform/overlay": BASE + ["platform", "platform/forward", "platform/model"],
    "platform/model": BASE + ["platform"],
    "platform/image": FORMATS + ["platform", "platform/model"],
    "platform/curl": BASE + ["platform"],
    "platform/win32": BASE + ["platform"],
    "resources": BASE + ["resources"],
    "services": SERVICES,
    "identity": IDENTITY,
    "processes": PROCESSES,
    "detection": DETECTION,
    "removal": REMOVAL,
    "panels": PANELS,
    "support": SUPPORT,
    "app": APP,
    "components": PLATFORM + ["platform/win32", "resources"],
    "cli": None,  # the top: anything
}
MAINS = ("app/main_win32.cpp",)  # put the program together
NATIVE = re.compile(r'#\s*include\s*<(windows|windowsx|winsock2?|commctrl|psapi|tlhelp32|objbase|ole2|'
                    r'oleauto|shellapi|winver|msxml\d?)\.h>', re.I)
NATIVE_ALLOWED = ("platform/win32/", "ui/win32/", "app/main_win32.cpp", "components/")
INCLUDE = re.compile(r'#\s*include\s*"([^"]+)"')


def layer_of(path, layers):
    """The longest layer whose folder holds the path, or None."""
    parts = path.split("/")[:-1]
    for length in range(len(parts), 0, -1):
        name = "/".join(parts[:length])
        if name in layers:
            return name
    return None


def main():
    root = pathlib.Path(__file__).resolve().parent.parent / "src"
    problems = []
    for file in sorted(root.rglob("*")):
        if file.suffix not in (".h", ".cpp", ".inc"):
            continue
        path = file.relative_to(root).as_posix()
        layer = layer_of(path, ALLOWED)
        if layer is None:
            problems.append(f"src/{path}: belongs to no layer")
            continue
        allowed = None if path in MAINS else ALLOWED[layer]
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            where = f"src/{path}:{number}"
            if not path.startswith(NATIVE_ALLOWED):
                if NATIVE.search(line) or re.search(r"#\s*if.*\b_WIN32\b", line):
                    problems.append(f"{where}: native code outside its folders: {line.strip()}")
            match = INCLUDE.search(line)
            if not match or allowed is None:
                continue
            target = layer_of(match[1], ALLOWED)
            if target is None:
                problems.append(f"{where}: include isn't rooted at src/: {match[1]}")
            elif target not in allowed and target != layer:
                problems.append(f"{where}: {layer} must not include {target}")
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
