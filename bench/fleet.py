#!/usr/bin/env python3
"""What many machines cost: a run beside a plain loop, merging, and the page.

    bench/fleet.py PROGRAM [COUNT...]     machines of the examples; 100 1000 10000 without COUNT

Each run is made twice in turn with the loop, the smaller time counts. The page takes Debian's chromium.
"""
import json
import os
import pathlib
import shutil
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
    start = time.monotonic()
    work()
    return time.monotonic() - start


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
    times = [(seconds_of(plainly), seconds_of(by_fleet)) for _ in range(2)]
    plain, fleet = map(min, zip(*times))
    print(f"{count:6} machines: plain scan {1000 * plain / count:6.1f} ms, fleet "
          f"{1000 * fleet / count:6.1f} ms a machine, ratio {fleet / plain:.2f}")


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


if __name__ == "__main__":
    main()
