"""What the checks of engines have in common: machines, a run over them, the same by a plain loop."""
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FLEET = ROOT / "tools/brackenfold-fleet"
EXAMPLES = ("hijacked-xp", "clean-xp", "hijacked-98")


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for one in sockets:
        one.bind(("127.0.0.1", 0))
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


def wait_for(what, is_so, seconds=60):
    end = time.monotonic() + seconds
    while not is_so():
        if time.monotonic() > end:
            raise TimeoutError(f"waited {seconds} s for {what}")
        time.sleep(0.1)


class ManyMachines(unittest.TestCase):
    """`program` and `environment` are set by who derives from it."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="bkfd-many-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.environment = dict(os.environ)

    def fleet(self, *words, codes=(0,)):
        done = subprocess.run([FLEET, *words], cwd=self.folder, capture_output=True, text=True,
                              timeout=600, env=self.environment)
        self.assertIn(done.returncode, codes, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def script(self, name, text):
        path = self.folder / name
        path.write_text(text.format(folder=self.folder, program=self.program), encoding="utf-8")
        path.chmod(0o755)
        return path

    def make_volumes(self, count):
        """Volumes of the examples in turn, and the list of them."""
        bases = []
        for name in EXAMPLES:
            bases.append(self.folder / f"base-{name}")
            subprocess.run([ROOT / "tools/make_volume.py", ROOT / "examples/machines" / name,
                            bases[-1]], check=True, capture_output=True)
        names = [f"pc-{number:03d}" for number in range(count)]
        for number, name in enumerate(names):
            subprocess.run(["cp", "-al", bases[number % 3], self.folder / name], check=True)
        (self.folder / "list").write_text("".join(f"{name}\n" for name in names), encoding="ascii")
        return names

    def records(self, folder="out"):
        return len(list((self.folder / folder / "records").glob("*/*.json")))

    def compare_with_loop(self, names):
        """The merged files are those of a plain loop, byte for byte."""
        loop = self.folder / "loop"
        loop.mkdir()
        for name in names:
            with open(loop / f"{name}.json", "wb") as file:
                subprocess.run([self.program, "--machine", self.folder / name, "scan", "--record",
                                "--name", name], stdout=file, check=False)
        self.fleet("merge", "out")
        self.fleet("merge", "loop")
        for name in ("fleet.db", "fleet.html"):
            self.assertEqual((self.folder / "out" / name).read_bytes(), (loop / name).read_bytes())
