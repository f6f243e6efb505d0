#!/usr/bin/env python3
"""Five hundred volumes by a real Slurm in which nearly everything goes wrong.

    slurm_test.py PROGRAM        takes root
"""
import json
import pathlib
import subprocess
import sys
import unittest

from many_machines import ManyMachines, wait_for
from slurm_cluster import Cluster

MACHINES = 500
# Some scans are killed once, some find something missing once, and all take a little while.
FLAKY = """#!/bin/sh
case $* in
    *7" scan "*) mark={folder}/marks/$(echo "$*" | cksum | cut -d' ' -f1)
        [ -e "$mark" ] || {{ : >"$mark"; kill -KILL $$; }} ;;
    *3" scan "*) mark={folder}/marks/$(echo "$*" | cksum | cut -d' ' -f1)
        [ -e "$mark" ] || {{ : >"$mark"; exit 4; }} ;;
esac
exec {program} "$@"
"""
OPENER = """#!/bin/sh
echo "$1 $2" >>{folder}/calls
[ "$1" = close ] || sleep 1000
"""


class SlurmTest(ManyMachines):
    program = pathlib.Path(sys.argv.pop(1)).resolve()

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.cluster = Cluster(cls.folder / "slurm")
        cls.addClassCleanup(cls.cluster.close)
        cls.environment = cls.cluster.environment
        (cls.folder / "marks").mkdir()

    def queue(self):
        done = subprocess.run(["squeue", "--noheader", "--array", "--format=%T %N"], text=True,
                              env=self.environment, capture_output=True)
        return done.stdout.splitlines()

    def test_the_result_is_that_of_a_plain_loop(self):
        names = self.make_volumes(MACHINES)
        out = self.folder / "out"
        out.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64m", "tmpfs", out], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", out], check=True)
        output = self.fleet("run", "list", "--out", "out", "--engine", "slurm", "--jobs", "4",
                            "--program", self.script("flaky", FLAKY))
        self.assertIn("tasks for 500 machines", output)
        self.assertIn("still in the queue", self.fleet("resume", "out", codes=(2,)))
        wait_for("the first records", lambda: self.records() >= 20, 120)
        wait_for("a task on the second node", lambda: "RUNNING node2" in self.queue())
        self.cluster.kill_node("node2")
        self.cluster.stop("controller")
        self.cluster.start_controller()
        wait_for("more records", lambda: self.records() >= 120, 120)
        self.fill_disk(out)
        self.cluster.start_node("node2")
        wait_for("the queue's end", lambda: not self.queue(), 300)
        for _ in range(3):
            if "500 of 500" in self.fleet("status", "out", codes=(0, 1)):
                break
            self.fleet("resume", "out", "--wait", codes=(0, 1))
        self.assertIn("500 of 500", self.fleet("status", "out"))
        self.compare_with_loop(names)

    def fill_disk(self, out):
        """Until a machine has failed of it and of nothing else."""
        with open(out / "filler", "wb", buffering=0) as file, self.assertRaises(OSError):
            while True:
                file.write(b"\0" * 4096)
        why = "its record can't be kept: No space left on device; another try may succeed"

        def failed():
            return [facts["machine"] for facts in map(json.loads, (
                path.read_text() for path in (out / "failed").glob("*/*.json")))
                if facts["code"] == 4 and why.startswith(facts["error"] + ";")]
        wait_for("a machine that failed of the full disk", failed, 120)
        self.assertIn(why, self.fleet("status", "out", codes=(1,)))
        (out / "filler").unlink()

    def test_a_cancelled_task_closes_what_it_opened(self):
        (self.folder / "one").write_text("pc\n", encoding="ascii")
        self.fleet("run", "one", "--out", "cancelled", "--engine", "slurm", "--program", self.program,
                   "--open", self.script("opener", OPENER))
        calls = self.folder / "calls"
        wait_for("the opening", calls.exists)
        job = (self.folder / "cancelled/slurm/jobs").read_text().strip()
        subprocess.run(["scancel", job], env=self.environment, check=True)
        wait_for("its end", lambda: not self.queue())
        self.assertIn("wasn't scanned yet", self.fleet("status", "cancelled", codes=(1,)))
        self.assertEqual(calls.read_text(encoding="ascii"), "open pc\nclose pc\n")


if __name__ == "__main__":
    unittest.main()
