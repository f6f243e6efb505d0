#!/usr/bin/env python3
"""Makes the example machines under examples/machines, or checks that they are as made.

    tools/make_example_machines.py                 writes them anew
    tools/make_example_machines.py --check         prints what differs; exit 1 if anything does
"""

import argparse
import pathlib
import shutil
import sys

from example_machines import clean_xp, hijacked_98, hijacked_xp

MACHINES = {"hijacked-xp": hijacked_xp, "hijacked-98": hijacked_98, "clean-xp": clean_xp}
ROOT = pathlib.Path(__file__).resolve().parent.parent


def stored(folder):
    return {path.relative_to(folder).as_posix(): path.read_bytes()
            for path in folder.rglob("*") if path.is_file()}


def differences(folder, content):
    found = stored(folder)
    for name in sorted(found.keys() | content.keys()):
        if name not in content:
            yield f"{folder / name}: not made by this tool"
        elif name not in found:
            yield f"{folder / name}: missing"
        elif found[name] != content[name]:
            yield f"{folder / name}: differs"


def write(folder, content):
    shutil.rmtree(folder, ignore_errors=True)
    for name, data in content.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="compare, write nothing")
    parser.add_argument("--output", type=pathlib.Path, default=ROOT / "examples/machines",
                        metavar="FOLDER", help="where the machines lie (default: %(default)s)")
    options = parser.parse_args()
    wrong = []
    for name, module in MACHINES.items():
        content = module.build().content()
        if options.check:
            wrong += differences(options.output / name, content)
        else:
            write(options.output / name, content)
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
