#!/usr/bin/env python3
"""The command line as a process: closed inputs and outputs, readers that go, a sudden end."""
import os
import pathlib
import pty
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

PROGRAM = sys.argv.pop()
EXAMPLE = pathlib.Path(__file__).parents[2] / "examples/machines/hijacked-xp"


class ProcessTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.machine = pathlib.Path(self.folder.name) / "machine"
        shutil.copytree(EXAMPLE, self.machine)

    def tearDown(self):
        self.folder.cleanup()

    def command(self, *arguments):
        return [PROGRAM, "--machine", self.machine, *arguments]

    def expect_clean(self):
        scan = subprocess.run(self.command("scan"), capture_output=True, timeout=60)
        self.assertEqual((scan.returncode, scan.stderr), (0, b""))

    def wait_until(self, is_so):
        end = time.monotonic() + 60
        while not is_so():
            self.assertLess(time.monotonic(), end)

    def test_writing_to_nobody_is_one_error(self):
        reading, writing = os.pipe()
        os.close(reading)
        run = subprocess.run(self.command("scan"), stdout=writing, stderr=subprocess.PIPE, timeout=60)
        os.close(writing)
        self.assertEqual((run.returncode, run.stderr),
                         (2, b"brackenfold: the results could not be written\n"))

    def test_a_reader_that_goes_does_not_end_a_cleanup(self):
        reading, writing = os.pipe()
        os.close(reading)
        subprocess.run(self.command("clean", "--yes"), stdout=writing, stderr=writing, timeout=60)
        os.close(writing)
        self.expect_clean()

    def test_closed_descriptors_do_not_become_files_of_the_image(self):
        rows = [("<&- >&-", 2), ("<&- >&- 2>&-", 2), ("<&-", 0)]
        for closed, status in rows:
            with self.subTest(closed):
                self.tearDown()
                self.setUp()
                run = subprocess.run(["sh", "-c", f'exec "$@" {closed}', "sh",
                                      *self.command("--json", "clean", "--yes")],
                                     capture_output=True, timeout=60)
                self.assertEqual(run.returncode, status)
                written = [path.name for path in self.machine.rglob("*")
                           if path.is_file() and b"removedFiles" in path.read_bytes()]
                self.assertEqual(written, [])
                self.expect_clean()

    def test_only_a_key_that_is_pressed_at_the_question_answers_it(self):
        for key, status in ((b"c", 2), (b"\x03", -signal.SIGINT)):
            with self.subTest(key):
                terminal, inner = pty.openpty()
                before = termios.tcgetattr(inner)
                os.write(terminal, b"o\n")
                question = subprocess.Popen(self.command("clean"), stdin=inner, stdout=inner,
                                            stderr=inner, start_new_session=True)
                self.wait_until(lambda: not termios.tcgetattr(inner)[3] & termios.ICANON)
                os.write(terminal, key)
                self.assertEqual(question.wait(timeout=60), status)
                self.assertEqual(termios.tcgetattr(inner), before)
                os.close(terminal)
                os.close(inner)
        scan = subprocess.run(self.command("scan"), capture_output=True, timeout=60)
        self.assertEqual(scan.returncode, 1, "it was cleaned up")

    def test_a_sudden_end_of_a_cleanup_can_be_made_good(self):
        cleanup = subprocess.Popen(self.command("clean", "--yes"), stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        journal = self.machine / "registry.journal"
        self.wait_until(lambda: journal.exists() or cleanup.poll() is not None)
        cleanup.send_signal(signal.SIGKILL)
        cleanup.wait(timeout=60)
        subprocess.run(self.command("clean", "--yes"), capture_output=True, timeout=60, check=True)
        self.expect_clean()


if __name__ == "__main__":
    unittest.main()
