#!/usr/bin/env python3
"""Holds what Wine's registry editor exports of a prefix against what a cleanup says that it changed.

    prefix_changes.py FOLDER PROGRAM          before.*.reg and after.*.reg differ by changes.json alone
    prefix_changes.py FOLDER PROGRAM ROOT     before.ROOT.reg and undone.ROOT.reg are the same
"""
import json
import pathlib
import re
import subprocess
import sys

FOLDER, PROGRAM = pathlib.Path(sys.argv[1]), sys.argv[2]
OWN = "\\software\\tarnwick labs"
# What Wine writes itself whenever it starts or stops.
PASSING = ("\\software\\microsoft\\windows\\currentversion\\explorer\\sessioninfo", "\\volatile environment",
           "\\software\\microsoft\\windows nt\\currentversion\\perflib", "\\hardware\\", "\\system\\currentcontrolset\\enum\\",
           "\\system\\currentcontrolset\\control\\class\\", "\\software\\wine\\")


def shown_once(key):
    """Wine shows the shared classes in the 32-bit view too, and that view's own classes in two places."""
    key = key.replace("\\software\\wow6432node\\classes", "\\software\\classes\\wow6432node")
    return re.sub(r"(\\software\\classes)\\wow6432node(?!\\(clsid|directshow|interface|media type|mediafoundation)\b)", r"\1", key)


def export(name):
    """The values of an export by key and name, both lower-cased, and the keys."""
    values, keys = {}, set()
    lines = subprocess.run([PROGRAM, "registry", FOLDER / name], check=True, capture_output=True).stdout
    for line in lines.decode().splitlines():
        entry = json.loads(line)
        key = shown_once(entry["key"].lower())
        if OWN in key or any(passing in key + "\\" for passing in PASSING):
            continue
        keys.add(key)
        if "name" in entry:
            values[key, entry["name"].lower()] = entry.get("type"), entry.get("data")
    return values, keys


def root_exports(name, roots=("HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER")):
    values, keys = {}, set()
    for root in roots:
        more = export(f"{name}.{root}.reg")
        values.update(more[0])
        keys |= more[1]
    return values, keys


def differences(old, new):
    return {place for place in old[0].keys() | new[0].keys() if old[0].get(place) != new[0].get(place)}


def text_of(value):
    kind, data = value
    raw = bytes.fromhex(data)
    return raw.decode("utf-16-le").rstrip("\0") if kind in (1, 2, 7) else int.from_bytes(raw, "little")


def real(place):
    """A place as it is told, with classes and the one user's keys where the editor shows them."""
    place = re.sub(r"^hkey_users\\s-[-0-9]*\\", r"hkey_current_user\\", place.lower())
    if place.startswith("hkey_classes_root"):
        place = "hkey_local_machine\\software\\classes" + place[len("hkey_classes_root"):]
    return place


def check_cleanup():
    before, after = root_exports("before"), root_exports("after")
    wrong, told = [], set()
    for change in json.loads((FOLDER / "changes.json").read_text())["changes"]:
        place = real(change["place"])
        if OWN in place or not change["done"]:
            continue
        if change["kind"] == "key":
            told |= {one for one in before[0] if ("\\" + one[0].lstrip("\\") + "\\").find(place + "\\") >= 0}
            if any(key.lstrip("\\") == place for key in after[1]):
                wrong.append(f"{place} is still there")
        if change["kind"] == "value":
            key, _, name = place.rpartition("\\")
            stored = next((one for one in after[0] if one[0].lstrip("\\") == key and one[1] == name), None)
            told |= {one for one in before[0].keys() | after[0].keys()
                     if one[0].lstrip("\\") == key and one[1] == name}
            now = None if stored is None else text_of(after[0][stored])
            if isinstance(change["after"], (str, int, type(None))) and now != change["after"]:
                wrong.append(f"{place} is {now!r} instead of {change['after']!r}")
    wrong += [f"{place} has changed, and nobody said so" for place in differences(before, after) - told]
    return wrong


def check_undo(root):
    before, undone = root_exports("before", [root]), root_exports("undone", [root])
    return [f"{place} isn't as before" for place in differences(before, undone)] + \
        [f"{key} came or went" for key in before[1] ^ undone[1]]


problems = check_undo(sys.argv[3]) if len(sys.argv) > 3 else check_cleanup()
print("\n".join(problems[:40]))
sys.exit(bool(problems))
