#!/usr/bin/env python3
"""check_imports.py FILE...: the 32-bit programs, and the setup with its plug-ins, import only what Windows 95
exports, and ask for no later Windows.

tools/windows95_imports.txt lists what may stand in an import table, as "library function". One
missing name keeps a program from starting there, so what isn't listed is looked up at run time; a
new line belongs there only for a function that the first Windows 95 has, if only as one that fails.
The C runtime, msvcrt.dll, is not looked at: it comes with the program's own requirements.
"""
import pathlib
import re
import subprocess
import sys

OLDEST = "Windows 95 and NT 4", (4, 0)
LIST = pathlib.Path(__file__).with_name("windows95_imports.txt")
IMPORT = re.compile(r"\s+[0-9a-f]+\s+\d+\s+(\w+)$")


def headers(file):
    return subprocess.run(["i686-w64-mingw32-objdump", "-p", file], capture_output=True, text=True, check=True).stdout


def imports(dump):
    """Pairs of library, in lower case, and function."""
    library = None
    for line in dump.splitlines():
        name = re.match(r"\s*DLL Name: (\S+)", line)
        if name:
            library = name[1].lower()
        elif "Export Table" in line or "Export Tables" in line:
            return
        elif library and IMPORT.match(line):
            yield library, IMPORT.match(line)[1]


def oldest_windows(dump):
    """The version that the file asks for, (4, 0) say."""
    return tuple(int(re.search(rf"^{part}SubsystemVersion\s+(\d+)", dump, re.M)[1]) for part in ("Major", "Minor"))


def complaints(file, allowed):
    dump = headers(file)
    seen = [f"{library} {name}" for library, name in imports(dump) if library != "msvcrt.dll"]
    if not seen:
        yield "no imports found"
    if oldest_windows(dump) > OLDEST[1]:
        yield f"doesn't start on {OLDEST[0]}"
    yield from (f"Windows 95 may lack {entry}" for entry in seen if entry not in allowed)


def main():
    allowed = set(LIST.read_text(encoding="ascii").splitlines())
    bad = 0
    for file in sys.argv[1:]:
        for complaint in complaints(file, allowed):
            print(f"{file}: {complaint}")
            bad += 1
    return 1 if bad or len(sys.argv) < 2 else 0


if __name__ == "__main__":
    sys.exit(main())
