#!/usr/bin/env python3
"""clang-tidy over everything that is compiled for Linux.

Without an argument: a short list. With "all": the list of .clang-tidy over src/ besides.

Each library is one file here, so that headers are read once for all its sources. What passed isn't
checked again until one of its files, of the headers that they include or of the lists has changed.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "lint"
SHORT = "--checks=-*,readability-braces-around-statements,bugprone-unused-return-value"
LONG = "--checks=-bugprone-suspicious-include"  # besides what .clang-tidy says: a library includes its sources
# Bodies of templates that nobody uses, the standard library's above all, aren't looked at.
USED_TEMPLATES = "--extra-arg=-fdelayed-template-parsing"


def configure():
    """The build folder, of clang's since it can't read what GCC precompiles; returns its compile commands."""
    for command in (["cmake", "--preset", "linux", "-B", BUILD, "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_C_COMPILER=clang",
                     "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=0"],
                    ["cmake", "--build", BUILD, "--target", "bkfd_resources", "bkfd_page"]):
        done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(done.stdout + done.stderr)
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    # The largest first, so that no processor is left with a long one at the end.
    return sorted((entry for entry in entries if "/googletest/" not in entry["file"]), key=size, reverse=True)


def size(entry):
    """Bytes of the sources that the library's one file includes."""
    sources = re.findall(r'#include "(/.*)"', pathlib.Path(entry["file"]).read_text())
    return sum(os.path.getsize(source) for source in sources or [entry["file"]])


def digest(files, options):
    total = hashlib.sha256(repr(options).encode())
    for file in [ROOT / ".clang-tidy", *files]:
        total.update(pathlib.Path(file).read_bytes())
    return total.hexdigest()


def parts(entry):
    """The entry's file, and what of ours it includes, as the compiler names them."""
    words = shlex.split(entry["command"])
    at = words.index("-o")
    del words[at:at + 2]
    words[words.index("-c")] = "-MM"
    rule = subprocess.run(words, cwd=entry["directory"], capture_output=True, text=True, check=True).stdout
    names = rule.replace("\\\n", " ").split(": ", 1)[1].split()
    return [os.path.normpath(os.path.join(entry["directory"], name)) for name in names]


def check(entry, options):
    """What clang-tidy says of the library; nothing if it passed."""
    stamp = BUILD / "passed" / hashlib.sha256(entry["file"].encode()).hexdigest()[:24]
    if stamp.exists():
        known = json.loads(stamp.read_text())
        if all(map(os.path.exists, known["files"])) and digest(known["files"], options) == known["digest"]:
            return ""
    done = subprocess.run(["clang-tidy", "-p", BUILD, "--quiet", "--extra-arg=-Wno-unknown-warning-option", USED_TEMPLATES,
                           "--header-filter=/(src|testing|tests|bench)/", *options, entry["file"]],
                          cwd=ROOT, capture_output=True, text=True)
    if done.returncode != 0:
        return done.stdout + "".join(line for line in done.stderr.splitlines(True) if "error" in line)
    files = parts(entry)
    stamp.parent.mkdir(exist_ok=True)
    stamp.write_text(json.dumps({"files": files, "digest": digest(files, options)}))
    return ""


def main():
    if sys.argv[1:] not in ([], ["all"]):
        raise SystemExit("usage: tools/check_lint.py [all]")
    is_whole = bool(sys.argv[1:])
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = [pool.submit(check, entry, [LONG if is_whole and entry["file"].startswith(f"{BUILD}/src/") else SHORT])
                for entry in configure()]
        said = [job.result() for job in jobs]
    print("".join(said), end="")
    return 1 if any(said) else 0


if __name__ == "__main__":
    sys.exit(main())
