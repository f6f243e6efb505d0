#!/usr/bin/env python3
"""GNU parallel over two sshd on this computer, one of which goes away.

    parallel_test.py PROGRAM        takes root
"""
import os
import pathlib
import signal
import subprocess
import sys
import unittest

from many_machines import FLEET, ManyMachines, free_ports, wait_for

SERVER = """Port {port}
ListenAddress 127.0.0.1
HostKey {folder}/host_key
AuthorizedKeysFile {folder}/key.pub
PidFile {folder}/{name}.pid
StrictModes no
UsePAM no
PermitRootLogin yes
MaxStartups 100
"""
CLIENT = """Host {name}
  HostName 127.0.0.1
  Port {port}
  IdentityFile {folder}/key
  UserKnownHostsFile /dev/null
  StrictHostKeyChecking no
  LogLevel ERROR
"""
# Every scan takes a moment, so that a host has work in hand when it goes away.
SLOW = """#!/bin/sh
sleep 0.1
exec {program} "$@"
"""


class ParallelTest(ManyMachines):
    program = pathlib.Path(sys.argv.pop(1)).resolve()

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        os.makedirs("/run/sshd", exist_ok=True)
        cls.place = cls.folder / "ssh"
        cls.place.mkdir()
        for name in ("host_key", "key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", cls.place / name],
                           check=True)
        cls.servers = {}
        for name, port in zip(("one", "two"), free_ports(2)):
            facts = {"name": name, "port": port, "folder": cls.place}
            (cls.place / f"{name}.conf").write_text(SERVER.format(**facts), encoding="ascii")
            with open(cls.place / "config", "a", encoding="ascii") as file:
                file.write(CLIENT.format(**facts))
            cls.servers[name] = subprocess.Popen(
                ["/usr/sbin/sshd", "-D", "-e", "-f", cls.place / f"{name}.conf"],
                stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
            wait_for(name, (cls.place / f"{name}.pid").exists)
        cls.addClassCleanup(lambda: [cls.end(name) for name in list(cls.servers)])

    @classmethod
    def end(cls, name):
        """The server and what it has at work, in sessions of their own."""
        server = cls.servers.pop(name)
        children = {}
        for path in pathlib.Path("/proc").glob("[0-9]*/stat"):
            try:
                parent = int(path.read_text().rpartition(")")[2].split()[1])
            except OSError:
                continue
            children.setdefault(parent, []).append(int(path.parent.name))
        ending = [server.pid]
        for process in ending:
            ending += children.get(process, [])
        for process in ending:
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass
        server.wait()

    def test_a_host_goes_away_and_the_run_is_ended_and_resumed(self):
        names = self.make_volumes(120)
        hosts = ",".join(f"ssh -F {self.place}/config {name}" for name in self.servers)
        running = subprocess.Popen(
            [FLEET, "run", "list", "--out", "out", "--engine", "parallel", "--jobs", "2", "--piece",
             "3", "--hosts", hosts, "--program", self.script("slow", SLOW)],
            cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        wait_for("the first records", lambda: self.records() >= 12, 120)
        self.end("two")
        before = self.records()
        wait_for("more records", lambda: self.records() >= before + 12, 120)
        running.terminate()
        _, messages = running.communicate(timeout=120)
        self.assertEqual(running.returncode, 128 + signal.SIGTERM, messages)
        self.assertLess(self.records(), len(names))
        self.fleet("status", "out", codes=(1,))
        last = self.fleet("resume", "out", "--hosts", f"ssh -F {self.place}/config one,:")
        self.assertIn("120 of 120", last)
        # A record that is lost comes back, though the joblog calls its piece done.
        next((self.folder / "out/records").glob("*/*.json")).unlink()
        self.assertIn("120 of 120", self.fleet("resume", "out"))
        self.compare_with_loop(names)


if __name__ == "__main__":
    unittest.main()
