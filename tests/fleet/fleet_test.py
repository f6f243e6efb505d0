#!/usr/bin/env python3
"""brackenfold-fleet with the local engine: records, resuming, merging, cleaning by a plan.

    fleet_test.py PROGRAM [TEST...]    PROGRAM is the brackenfold to scan with
"""
import csv
import fcntl
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
from many_machines import wait_for  # noqa: E402
from brackenfold_fleet import FleetError, machines, merging, page, run_folder  # noqa: E402

PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
FLEET = ROOT / "tools/brackenfold-fleet"
EXAMPLES = ("hijacked-xp", "clean-xp", "hijacked-98")
# A brackenfold that takes no time: prints `record` of the machine's folder under the asked name.
QUICK = r"""#!/bin/sh
name=; folder=
while [ $# -gt 0 ]; do
    case $1 in --machine) folder=$2; shift ;; --name=*) name=${1#--name=} ;; esac
    shift
done
[ ! -e "$folder/run" ] || . "$folder/run"
[ -d "$folder" ] || { echo "brackenfold: $folder is no folder" >&2; exit 2; }
printf '{"schema":2,"machine":{"kind":"image","name":"%s","windows":"Windows XP","family":"nt","users":[]},"program":"1","signatures":[],"input":{"sha256":"ab","files":[]},"verdict":"clean","files":[],"bhos":[],"suspicious":[],"settings":[],"unreadable":[]}\n' "$name"
"""


class FleetCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="bkfd-fleet-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.quick = self.write("quick", QUICK)
        self.quick.chmod(0o755)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")
        return path

    def fleet(self, *words, code=0, **options):
        done = subprocess.run([FLEET, *words], cwd=self.folder, capture_output=True, text=True,
                              timeout=300, **options)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        self.assertNotIn("Traceback", done.stderr)
        return done.stdout + done.stderr

    def machines(self, *names, run=""):
        for name in names:
            (self.folder / name).mkdir()
            if run:
                self.write(f"{name}/run", run)
        self.write("list", "".join(f"{name}\n" for name in names))

    def run_quickly(self, *words, code=0):
        return self.fleet("run", "list", "--out", "out", "--program", self.quick, *words, code=code)

    def records(self, folder="out"):
        return {json.loads(path.read_bytes())["machine"]["name"]: path
                for path in (self.folder / folder / "records").rglob("*.json")}


class RunTest(FleetCase):
    def test_fifty_machines_give_what_a_plain_loop_gives(self):
        names = [f"-pc 'ä' {number:02d}" for number in range(50)]
        for number, name in enumerate(names):
            shutil.copytree(ROOT / "examples/machines" / EXAMPLES[number % 3], self.folder / name)
        self.write("list", "\n".join(reversed(names)))
        self.fleet("run", "list", "--out", "out", "--program", PROGRAM)
        loop = self.folder / "loop"
        loop.mkdir()
        for name in names[::7]:
            done = subprocess.run([PROGRAM, "--machine", self.folder / name, "scan", "--record",
                                   f"--name={name}"], capture_output=True, check=True)
            (loop / f"{name}.json").write_bytes(done.stdout)
        for path in self.records().values():
            name = json.loads(path.read_bytes())["machine"]["name"]
            if (loop / f"{name}.json").exists():
                self.assertEqual(path.read_bytes(), (loop / f"{name}.json").read_bytes())
            shutil.copy(path, loop / f"{name}.json")
        for folder in ("out", "loop"):
            self.fleet("merge", folder, "--csv")
        for name in ("fleet.db", "fleet.html", "fleet.csv"):
            self.assertEqual((self.folder / "out" / name).read_bytes(), (loop / name).read_bytes())
        self.check_queries(self.folder / "out/fleet.db")

    def check_queries(self, database):
        """Those of the documentation work, and find what was planted."""
        text = (ROOT / "docs/fleet.md").read_text(encoding="utf-8")
        queries = re.findall(r"```sql\n(.*?)```", text, re.S)
        self.assertGreaterEqual(len(queries), 5)
        connection = sqlite3.connect(database)
        self.addCleanup(connection.close)
        for query in queries:
            with self.subTest(query):
                self.assertTrue(connection.execute(query).fetchall())

    def test_every_machine_has_its_record_or_a_reason(self):
        rows = {"good": "", "bad": "echo 'brackenfold: no Windows' >&2; exit 2",
                "crashes": "kill -SEGV $$", "cut": "printf '{\"schema\":2'; exit 0",
                "other": "name=somebody", "future": "exec echo '{\"schema\":9,\"machine\":{\"name\":\"future\"}}'",
                "later": "[ -e \"$folder/2\" ] || { [ ! -e \"$folder/1\" ] || touch \"$folder/2\"; "
                         "touch \"$folder/1\"; exit 4; }"}
        self.machines(*rows)
        for name, script in rows.items():
            self.write(f"{name}/run", script)
        output = self.run_quickly("--jobs", "7", code=1)
        self.assertEqual(sorted(self.records()), ["good", "later"])
        for line in ("2 of 7 machines have a record", "bad: no Windows", "crashes: ended by signal 11",
                     "cut: what", "was cut off", "record of another machine, somebody",
                     "is of schema 9"):
            self.assertIn(line, output)
        for path in self.folder.glob("*/run"):
            path.unlink()
        self.assertIn("7 of 7 machines", self.fleet("resume", "out"))
        self.assertEqual([path for path in self.folder.rglob(".*.new")], [])

    def test_resuming_makes_only_what_is_missing(self):
        self.machines("a", "b", "c", "d")
        self.run_quickly()
        records = self.records()
        whole = records["b"].read_bytes()
        damage = {"b": whole[:-20], "c": whole, "d": b"\xff\n"}
        for name, content in damage.items():
            records[name].write_bytes(content)
        times = {name: path.stat().st_mtime_ns for name, path in records.items()}
        output = self.fleet("status", "out", code=1)
        for line in ("1 of 4", "b: its record was cut off", "c: its record is the record of another",
                     "d: its record is no record"):
            self.assertIn(line, output)
        self.fleet("resume", "out")
        self.assertEqual(records["b"].read_bytes(), whole)
        self.assertEqual(records["a"].stat().st_mtime_ns, times["a"], "a good one isn't made again")

    def test_bad_requests_are_one_clear_line(self):
        self.machines("a")
        self.run_quickly()
        binary = self.write("nul", "a\0b")
        rows = (
            (["run", "list", "--out", "out", "--program", self.quick], "holds a run already"),
            (["run", "none", "--out", "new", "--program", self.quick], "none: No such file"),
            (["run", os.devnull, "--out", "new", "--program", self.quick], "names no machine"),
            (["run", binary, "--out", "new", "--program", self.quick], "-0 reads lists"),
            (["run", "list", "--out", "new", "--program", "nothing"], "nothing isn't here"),
            (["run", "list", "--out", "new", "--program", self.quick, "--timeout=0"], "more than 0"),
            (["run", "list", "--out", "new", "--program", self.quick, "--jobs", "0"], "from 1 on"),
            (["run", "list", "--out", "new", "--program", self.quick, "--open", "no"], "no of --open isn't"),
            (["run", "list", "--out", "new", "--program", self.quick, "--signatures", "no"], "no folder"),
            (["resume", "new"], "holds no run"), (["merge", "none"], "none is no folder"),
            (["merge", "a"], "holds no records"), (["work", "out", "x"], "no piece of a list"),
            (["clean", "out", "list"], "no whole plan"),
        )
        for words, message in rows:
            with self.subTest(message):
                self.assertIn(message, self.fleet(*words, code=2))
        for engine, package in (("parallel", "parallel"), ("slurm", "slurm-client")):
            output = self.fleet("run", "list", "--out", engine, "--program", self.quick, "--engine",
                                engine, code=2, env={"PATH": "/nothing"})
            self.assertIn(f"Debian's package {package} has it", output)
        with open(self.folder / "out/lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            self.assertIn("another run works in", self.fleet("resume", "out", code=2))

    def test_an_end_before_its_time_leaves_nothing_open(self):
        opener = self.write("opener", "#!/bin/sh\necho \"$1 $2\" >>" + str(self.folder / "calls")
                            + "\n[ \"$2\" != closed ] || { echo sealed >&2; exit 2; }\n")
        opener.chmod(0o755)
        self.write("list", "one\nclosed\nstuck\n")
        self.quick.write_text("#!/bin/sh\nfor word; do case $word in *stuck) : >\"$0.ready\"; "
                              "sleep 1000;; esac; done\n"
                              + QUICK.removeprefix("#!/bin/sh\n"))
        running = subprocess.Popen([FLEET, "run", "list", "--out", "out", "--jobs", "1", "--program",
                                    self.quick, "--open", opener], cwd=self.folder,
                                   stderr=subprocess.PIPE, text=True)
        wait_for("the scan", pathlib.Path(f"{self.quick}.ready").exists)
        running.send_signal(signal.SIGTERM)
        _, messages = running.communicate(timeout=60)
        self.assertEqual(running.returncode, 128 + signal.SIGTERM, messages)
        self.assertIn("`resume` goes on", messages)
        self.assertEqual((self.folder / "calls").read_text().splitlines(),
                         ["open one", "close one", "open closed", "open stuck", "close stuck"])
        self.assertIn("closed: open: sealed", self.fleet("status", "out", code=1))
        self.assertEqual(list(self.records()), ["one"])


class ListTest(unittest.TestCase):
    def test_lists(self):
        rows = (
            ("plain", b"a\nb c\n", ["a", "b c"], []),
            ("of Windows, with a mark", b"\xef\xbb\xbfa\r\nb\r\n", ["a", "b"], []),
            ("a name that ends so", b"a\nb\r\n", ["a", "b\r"], []),
            ("empty lines", b"\n \na\n\n", ["a"], []),
            ("doubled", b"a\n./a\nb\na/\n", ["a", "b"], ["./a", "a/"]),
            ("no UTF-8", b"\xe4\n", ["\udce4"], []),
        )
        for label, content, entries, doubled in rows:
            with self.subTest(label):
                found, twice = machines.read_list(content)
                self.assertEqual(([m.entry for m in found], twice), (entries, doubled))
        found, _ = machines.read_list(b"a\nb\0c\0", True)
        self.assertEqual([m.entry for m in found], ["a\nb", "c"])
        with self.assertRaises(FleetError):
            machines.read_list(b"a\0b")


HOSTILE = ("</script><script>alert(1)</script>", "<img src=x onerror=alert(1)>", "=cmd|' /C calc'!A0",
           "\u202egpj.exe", "a\nb\tc", "&amp;\"'`", "\udce4", "\u2028", "@SUM(1)")


WRITTEN = "2004-05-06T07:08:09Z"


class MergeTest(FleetCase):
    def make_records(self, names):
        base = subprocess.run([PROGRAM, "--machine", ROOT / "examples/machines/hijacked-xp", "scan",
                               "--record", "--times"], capture_output=True, check=True).stdout
        record = json.loads(base)
        folder = self.folder / "records"
        folder.mkdir()
        for number, name in enumerate(names):
            record["machine"]["name"] = record["files"][0]["path"] = name
            record["settings"][0].update(value=name, status="i")
            record["times"]["files"][0]["path"] = name
            record["ignored"] = [{"kind": "file", "path": name, "clsid": None, "sha256": "0" * 64,
                                  "view": None, "note": name, "date": "2026-11-20"}]
            registry = record["settings"][0]["registry"]
            record["times"]["keys"] = [{"path": f"{registry['hive']}\\{registry['key']}",
                                        "user": None, "modified": WRITTEN}]
            if number == 0:  # an older program knew no such list
                del record["ignored"]
            (folder / f"{number}.json").write_text(json.dumps(record, separators=(",", ":")) + "\n")
        return folder

    def test_hostile_texts_stay_texts(self):
        folder = self.make_records(HOSTILE)
        self.fleet("merge", folder, "--csv", "--timesketch")
        text = (folder / "fleet.html").read_text(encoding="utf-8")
        inner = re.findall(r"<script[^>]*>(.*?)</script", text, re.S)
        self.assertEqual(len(inner), 2)
        data = json.loads(inner[0])
        expected = sorted(map(merging.storable, HOSTILE))
        self.assertEqual([machine[0] for machine in data["machines"]],
                         list(map(merging.storable, sorted(HOSTILE))))
        self.assertIn(f"script-src '{page.source_hash(inner[1])}'", text)
        with open(folder / "fleet.csv", encoding="utf-8", newline="") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual({row["machine"].lstrip("'") for row in rows},
                         set(map(run_folder.shown, expected)))
        self.assertEqual([cell for row in rows for cell in row.values()
                          if cell[:1] in ("=", "+", "-", "@", "\t")], [])
        events = [json.loads(line) for line in (folder / "fleet.jsonl").read_text().splitlines()]
        self.assertEqual({"message", "datetime", "timestamp_desc"} - set(events[0]), set())
        written = [event["message"] for event in events if event["datetime"] == WRITTEN]
        self.assertEqual(len(written), len(HOSTILE), "a key that holds much is told once")
        self.assertRegex(written[0], "^HKCU.*: setting Default_Page_URL, setting Local Page on ")
        connection = sqlite3.connect(folder / "fleet.db")
        self.addCleanup(connection.close)
        names = [row[0] for row in connection.execute("SELECT name FROM machines")]
        self.assertEqual(sorted(names), expected)
        self.assertIn((WRITTEN,), connection.execute("SELECT DISTINCT key_modified FROM settings"))
        ignored = connection.execute("SELECT note, path, sha256 FROM ignored").fetchall()
        self.assertEqual(sorted(ignored), sorted((name, name, "0" * 64) for name in
                                                 map(merging.storable, HOSTILE[1:])))
        self.assertEqual([machine[7] for machine in data["machines"]].count([]), 1)

    def test_what_is_no_record_is_listed(self):
        folder = self.make_records(["a", "b"])
        (folder / "3.json").write_bytes((folder / "0.json").read_bytes())
        (folder / "4.json").write_text("{}\n")
        (folder / "5.json").write_bytes((folder / "1.json").read_bytes()[:-3].replace(
            b'"name":"b"', b'"name":"cut"'))
        whole = (folder / "0.json").read_text()
        os.mkfifo(folder / "6.json")
        odd = (("size", '"hash":', '"hash":1e30,"-":', "files[0].hash"),
               ("number", '"hash":', '"hash":99999999999999999999,"-":', "files[0].hash"),
               ("null", '"windows":"', '"windows":null,"-":"', "machine.windows"),
               ("lacks", '"known":', '"-":', "files[0].known"),
               ("verdict", '"verdict":"parasites"', '"verdict":"fine"', "verdict"),
               ("list", '"unreadable":[', '"unreadable":[[],', "unreadable[0]"))
        for label, old, new, _ in odd:
            (folder / f"{label}.json").write_text(
                whole.replace('"name":"a"', f'"name":"{label}"', 1).replace(old, new, 1))
        (folder / "upper.json").write_text(whole.replace('"name":"a"', '"name":"\\uD800"', 1))
        output = self.fleet("merge", folder, "--csv", "--timesketch", code=1)
        for label, _, _, where in odd:
            self.assertIn(f"{label}.json: differs from a record's schema at {where}\n", output)
        for line in ("3 machines:", "6.json: is no file", "3.json: is a second record of a", "4.json: is no record",
                     "5.json: was cut off"):
            self.assertIn(line, output)


class CleanTest(FleetCase):
    def test_only_what_is_as_planned_is_cleaned(self):
        names = ("hijacked-xp", "clean-xp", "other")
        for name in names:
            shutil.copytree(ROOT / "examples/machines" / name.replace("other", "hijacked-xp"),
                            self.folder / name)
        self.write("list", "\n".join(names))
        self.fleet("run", "list", "--out", "out", "--program", PROGRAM)
        self.assertIn("2 machines to clean", self.fleet("plan", "out", "plan"))
        self.assertIn("is there already", self.fleet("plan", "out", "plan", code=2))
        self.write("other/registry/more.reg", "REGEDIT4\r\n")
        output = self.fleet("clean", "out", "plan", code=1)
        self.assertIn("hijacked-xp: as planned, 11 files, 7 helper objects", output)
        self.assertIn("other: isn't as the plan says any more", output)
        self.assertIn("Nothing was changed", output)
        self.assertEqual(self.verdict("hijacked-xp"), "parasites")
        output = self.fleet("clean", "out", "plan", "--yes-clean-all", code=1)
        self.assertIn("hijacked-xp: cleaned; undo 1 takes it back", output)
        self.assertEqual([self.verdict(name) for name in names], ["clean", "clean", "parasites"])

    def test_a_cleanup_that_was_ended_goes_on(self):
        for name in ("a", "b", "c", "old"):
            example = "hijacked-98" if name == "old" else "hijacked-xp"
            shutil.copytree(ROOT / "examples/machines" / example, self.folder / name)
        self.write("list", "a\nb\nc\nold\n")
        # On a the run is asked to end; on b it is killed, and its machine half done.
        program = self.write("program", f"""#!/bin/sh
case "$3 $4" in
"--json clean")
    case $2-$([ -e ended ] && echo again) in
    */a-) : >ended; kill -TERM $PPID ;;
    */b-again) [ -e killed ] || {{ : >killed; {PROGRAM} --machine "$2" disable \
        'C:\\WINDOWS\\system32\\srchast.dll' --yes >/dev/null 2>&1; kill -KILL $PPID; exit 1; }} ;;
    esac ;;
esac
exec {PROGRAM} "$@"
""")
        program.chmod(0o755)
        self.fleet("run", "list", "--out", "out", "--program", program)
        self.fleet("plan", "out", "plan")
        rows = ((128 + signal.SIGTERM, ["a: cleaned; undo 1 takes it back", "goes on with it"], "cpp"),
                (-signal.SIGKILL, ["a: was cleaned before; undo 1 takes"], "cpp"),
                (1, ["old: cleaned, but 2 things could not be done, such as C:\\WINDOWS\\SYSTEM\\",
                     "a: was cleaned before; undo 1 takes", "b: cleaned; undo 2, then 1 take it back",
                     "c: cleaned; undo 1 takes it back"], "ccc"))
        for code, lines, verdicts in rows:
            with self.subTest(code):
                output = self.fleet("clean", "out", "plan", "--yes-clean-all", code=code)
                self.assertEqual([line for line in lines if line not in output], [], output)
                self.assertEqual("".join(self.verdict(name)[0] for name in "abc"), verdicts)
        for number in ("2", "1"):
            subprocess.run([PROGRAM, "--machine", self.folder / "b", "undo", number, "--yes"], check=True,
                           capture_output=True)
        self.assertIn("b: was cleaned before, and has parasites again",
                      self.fleet("clean", "out", "plan", code=1))

    def verdict(self, name):
        done = subprocess.run([PROGRAM, "--machine", self.folder / name, "scan", "--record"],
                              capture_output=True, check=True)
        return json.loads(done.stdout)["verdict"]


if __name__ == "__main__":
    unittest.main()
