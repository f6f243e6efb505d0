#!/usr/bin/env python3
"""What many machines cost: a run beside a plain loop, merging, and the page.

    bench/fleet.py PROGRAM [COUNT...]     machines of the examples; 100 1000 10000 without COUNT

Each run is made three times in turn with the loop, the smallest time counts. The page takes Debian's chromium.
"""
import functools
import json
import operator
import os
import pathlib
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
FLEET = ROOT / "tools/brackenfold-fleet"
EXAMPLES = ("hijacked-xp", "clean-xp", "hijacked-98")
LARGEST_SCAN = 300  # machines that are really scanned; more records are copies with other names

sys.path.insert(0, str(ROOT / "tests/fleet"))
from browser import Browser  # noqa: E402


def seconds_of(work):
    """Elapsed, and of a processor in the programs that it starts."""
    start, before = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
    work()
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (time.monotonic() - start,
            used.ru_utime + used.ru_stime - before.ru_utime - before.ru_stime)


def make_machines(folder, count):
    names = [f"pc-{number:05d}" for number in range(count)]
    for number, name in enumerate(names):
        subprocess.run(["cp", "-al", ROOT / "examples/machines" / EXAMPLES[number % 3], folder / name],
                       check=True)
    (folder / "list").write_text("\n".join(names), encoding="ascii")
    return names


def measure_runs(folder, program, count):
    names = make_machines(folder, count)

    def plainly():
        for name in names:
            with open(os.devnull, "wb") as sink:
                subprocess.run([program, "--machine", folder / name, "--json", "scan"], stdout=sink)

    def by_fleet():
        shutil.rmtree(folder / "out", ignore_errors=True)
        subprocess.run([FLEET, "run", "list", "--out", "out", "--jobs", "1", "--program", program],
                       cwd=folder, check=True, stdout=subprocess.DEVNULL)
    times = [(*seconds_of(plainly), *seconds_of(by_fleet)) for _ in range(3)]
    for label, at in (("elapsed", 0), ("of a processor", 1)):
        plain, fleet = (min(row[at + by] for row in times) for by in (0, 2))
        print(f"{count:6} machines: plain scan {1000 * plain / count:6.1f} ms, fleet "
              f"{1000 * fleet / count:6.1f} ms a machine {label}, ratio {fleet / plain:.2f}")


def enlarge(hive, size):
    """By empty bins: nobody but who takes the hash of the whole file reads them."""
    content = bytearray(hive.read_bytes())
    bins = struct.unpack_from("<I", content, 0x28)[0]
    del content[0x1000 + bins:]
    while bins < size:
        head = struct.pack("<4sIIQQIi", b"hbin", bins, 0x1000, 0, 0, 0, 0x1000 - 0x20)
        content += head.ljust(0x1000, b"\0")
        bins += 0x1000
    struct.pack_into("<I", content, 0x28, bins)
    checksum = functools.reduce(operator.xor, struct.unpack_from("<127I", content))
    struct.pack_into("<I", content, 0x1FC, checksum)
    hive.write_bytes(content)


def measure_large_registry(folder, program):
    volume = folder / "large"
    subprocess.run([ROOT / "tools/make_volume.py", ROOT / "examples/machines/hijacked-xp", volume],
                   check=True, stderr=subprocess.DEVNULL)
    for name, megabytes in (("SOFTWARE", 100), ("SYSTEM", 15)):
        enlarge(volume / "WINDOWS/system32/config" / name, megabytes << 20)
    for label, words in (("plain scan", ["--json", "scan"]), ("its record", ["scan", "--record"])):
        command = [program, "--machine", volume, *words]
        best = min((seconds_of(functools.partial(subprocess.run, command, stdout=subprocess.DEVNULL))
                    for _ in range(5)), key=sum)
        print(f"115 MB of registry: {label} {1000 * best[0]:6.1f} ms, of a processor {1000 * best[1]:6.1f} ms")


def copy_records(folder, count):
    records = [json.loads(path.read_bytes()) for path in (folder / "out/records").glob("*/*.json")]
    target = folder / f"records-{count}"
    for number in range(count):
        record = records[number % len(records)]
        record["machine"]["name"] = f"/srv/room-{number // 100}/pc-{number:05d}"
        place = target / f"{number % 256:02x}"
        place.mkdir(parents=True, exist_ok=True)
        (place / f"{number}.json").write_text(json.dumps(record, separators=(",", ":")) + "\n")
    return target


def measure_merge(target, count):
    start = time.monotonic()
    merging = subprocess.Popen([FLEET, "merge", target], stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(merging.pid, 0)
    elapsed = time.monotonic() - start
    if status != 0:
        sys.exit("merge failed")
    merging.returncode = 0
    sizes = [(target / name).stat().st_size >> 10 for name in ("fleet.db", "fleet.html")]
    print(f"{count:6} records: merge {elapsed:6.2f} s ({used.ru_utime + used.ru_stime:.2f} s of "
          f"processor), at most {used.ru_maxrss >> 10} MiB, database {sizes[0]} KiB, page {sizes[1]} KiB")


def measure_page(target, count):
    browser = Browser()
    try:
        ready = []
        for _ in range(3):
            browser.open(target / "fleet.html")
            ready.append(browser.evaluate("Number(document.documentElement.dataset.ready)"))
        print(f"{count:6} machines: page ready after {min(ready):.0f} ms")
    finally:
        browser.close()


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    counts = [int(word) for word in sys.argv[2:]] or [100, 1000, 10000]
    with tempfile.TemporaryDirectory(prefix="bkfd-bench-") as name:
        folder = pathlib.Path(name)
        measure_runs(folder, program, min(LARGEST_SCAN, counts[0]))
        for count in counts:
            target = copy_records(folder, count)
            measure_merge(target, count)
            if shutil.which("chromium"):
                measure_page(target, count)
        # Behind the others: the system counts this program's memory as that of those that it starts.
        measure_large_registry(folder, program)


if __name__ == "__main__":
    main()
