#!/usr/bin/env python3
"""check_contents.py DIST: the checksums are those of the files, the SPDX list names what dpkg, unzip and 7-Zip
find in the packages, with the checksums that it then has, and the setup starts wherever the program does."""
import hashlib
import json
import pathlib
import subprocess
import sys
import tempfile

# How each package is unpacked, and what of it the list leaves out: what only the unpacker or the setup makes.
UNPACKERS = {
    ".deb": (["dpkg-deb", "-x", "{package}", "{folder}"], ()),
    ".zip": (["unzip", "-q", "{package}", "-d", "{folder}"], ()),
    ".exe": (["7z", "x", "-aou", "-o{folder}", "{package}"], ("$PLUGINSDIR/", "Uninstall.exe", "[NSIS].nsi")),
}


IMPORTS = pathlib.Path(__file__).parents[2] / "tools/check_imports.py"


def unpack(package, folder):
    command = [part.format(package=package, folder=folder) for part in UNPACKERS[package.suffix][0]]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def setup_is_for_old_systems(package, folder):
    """The setup itself, its plug-ins and the removal."""
    programs = [package, *pathlib.Path(folder).rglob("*Uninstall.exe"), *pathlib.Path(folder).rglob("$PLUGINSDIR/*.dll")]
    return len(programs) > 2 and subprocess.run([IMPORTS, *programs]).returncode == 0


def digests(package, folder):
    """SHA-256 of each file in it by its name."""
    ignored = UNPACKERS[package.suffix][1]
    files = [path for path in pathlib.Path(folder).rglob("*") if path.is_file() and not path.is_symlink()]
    names = {path.relative_to(folder).as_posix(): hashlib.sha256(path.read_bytes()).hexdigest() for path in files}
    return {name: digest for name, digest in names.items() if not any(part in name for part in ignored)}


def listed(document, package):
    """The same of the list."""
    identifier = next(entry["SPDXID"] for entry in document["packages"] if entry.get("packageFileName") == package.name)
    contained = {entry["relatedSpdxElement"] for entry in document["relationships"]
                 if entry["spdxElementId"] == identifier and entry["relationshipType"] == "CONTAINS"}
    return {file["fileName"].removeprefix("./"): file["checksums"][1]["checksumValue"]
            for file in document["files"] if file["SPDXID"] in contained}


def main():
    dist = pathlib.Path(sys.argv[1])
    bad = subprocess.run(["sha256sum", "--quiet", "-c", "SHA256SUMS"], cwd=dist).returncode
    document = json.loads(next(dist.glob("*.spdx.json")).read_text(encoding="utf-8"))
    packages = [path for path in sorted(dist.iterdir()) if path.suffix in UNPACKERS]
    for package in packages:
        with tempfile.TemporaryDirectory() as folder:
            unpack(package, folder)
            inside, told = digests(package, folder), listed(document, package)
            if package.suffix == ".exe" and not setup_is_for_old_systems(package, folder):
                bad = 1
        if package.suffix == ".exe":  # its folders are chosen when it runs
            inside, told = sorted(inside.values()), sorted(told.values())
        if inside != told or not told:
            print(f"{package.name} holds {inside}\nand the SPDX list has {told}")
            bad = 1
    sys.exit(1 if bad or len(packages) != 3 else 0)


if __name__ == "__main__":
    main()
