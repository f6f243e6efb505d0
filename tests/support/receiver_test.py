#!/usr/bin/env python3
"""The receiver takes reports, refuses everything else, survives it, and stays in its folder."""
import importlib.util
import pathlib
import re
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

RECEIVER = pathlib.Path(__file__).parents[2] / "tools/receiver/receiver.py"
ADDRESS = "/php/ic.php"
REPORT = b"subject=BKFD%5C1&value=UEsDBA%3D%3D"


class ReceiverTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.desk = pathlib.Path(self.folder.name) / "a" / "desk"
        self.start()

    def start(self, *options):
        self.errors = open(pathlib.Path(self.folder.name).with_suffix(".err"), "w+")
        self.server = subprocess.Popen(
            [sys.executable, RECEIVER, "--port", "0", *options, self.desk],
            stdout=subprocess.PIPE, stderr=self.errors, text=True)
        self.port = int(self.server.stdout.readline().rpartition(":")[2])

    def stop(self):
        """Ends the server; there is never anything that it didn't expect."""
        self.server.kill()
        self.server.wait()
        self.server.stdout.close()
        self.errors.seek(0)
        with self.errors:
            pathlib.Path(self.errors.name).unlink()
            self.assertEqual(self.errors.read(), "")

    def tearDown(self):
        self.stop()
        self.folder.cleanup()

    def exchange(self, request):
        """The status of the answer, 0 if the connection just ends."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=30) as connection:
            try:
                connection.sendall(request)
                connection.shutdown(socket.SHUT_WR)
                answer = connection.makefile("rb").read()
            except (BrokenPipeError, ConnectionResetError):
                return 0
        status = re.match(rb"HTTP/1\.1 (\d+)", answer)
        return int(status[1]) if status else 0

    def post(self, body, path=ADDRESS, length=None):
        length = len(body) if length is None else length
        return self.exchange(
            f"POST {path} HTTP/1.1\r\nHost: x\r\nContent-Length: {length}\r\n\r\n".encode() + body)

    def stored(self):
        """Every file in the whole folder, by its path."""
        top = pathlib.Path(self.folder.name)
        return {path.relative_to(top).as_posix(): path.read_bytes()
                for path in top.rglob("*") if path.is_file()}

    def test_refuses_what_is_no_report(self):
        big = 64 * 1024 * 1024
        rows = [
            ("another path", 404, dict(body=REPORT, path="/")),
            ("a path that leads out", 404, dict(body=REPORT, path="/php/../../ic.php")),
            ("a malformed address", 404, dict(body=REPORT, path="http://[/php/ic.php")),
            ("no length", 411, dict(body=b"", length="")),
            ("a negative length", 411, dict(body=b"", length="-1")),
            ("a length beyond all numbers", 413, dict(body=b"", length="9" * 5000)),
            ("one byte too many", 413, dict(body=b"x" * (big + 1))),
            ("empty", 400, dict(body=b"")),
            ("no form", 400, dict(body=b"\x00\xff\xfe")),
            ("no value", 400, dict(body=b"subject=x")),
            ("an empty value", 400, dict(body=b"subject=x&value=")),
            ("too many fields", 400, dict(body=b"&".join([b"a=b"] * 1000))),
            ("cut", 0, dict(body=REPORT, length=len(REPORT) + 1)),
        ]
        for label, status, post in rows:
            with self.subTest(label):
                self.assertEqual(self.post(**post), status)
                self.assertEqual(self.stored(), {})
        for label, headers in [
                ("two lengths", b"Content-Length: 35\r\nContent-Length: 35\r\n"),
                ("lengths that differ", b"Content-Length: 1\r\nContent-Length: 35\r\n"),
                ("chunks", b"Transfer-Encoding: chunked\r\n"),
                ("chunks beside a length", b"Content-Length: 35\r\nTransfer-Encoding: chunked\r\n"),
                ("chunks behind no header", b"Content-Length: 35\r\nx\r\nTransfer-Encoding: chunked\r\n"),
                ("a blank before the colon", b"Content-Length: 35\r\nTransfer-Encoding : chunked\r\n"),
                ("a header of two lines", b"Content-Length: 35\r\nX: y\r\n Content-Length: 1\r\n")]:
            with self.subTest(label):
                self.assertEqual(self.exchange(b"POST /php/ic.php HTTP/1.1\r\nHost: x\r\n" + headers +
                                               b"\r\n" + REPORT), 400)
                self.assertEqual(self.stored(), {})
        self.assertEqual(self.exchange(b"GET /php/ic.php HTTP/1.1\r\nHost: x\r\n\r\n"), 405)
        self.exchange(b"\x16\x03\x01 no HTTP at all\r\n\r\n")
        self.assertEqual(self.post(REPORT), 200, "it doesn't serve any more")

    def test_logs_nothing_that_commands_the_terminal(self):
        self.assertEqual(self.post(REPORT, path="/\x1b[31m\xff"), 404)
        self.assertIn("404", line := self.server.stdout.readline())
        self.assertTrue(line.isascii() and line[:-1].isprintable(), ascii(line))

    def test_takes_reports_when_nobody_reads_its_log(self):
        self.server.stdout.close()
        for _ in range(2):
            self.assertEqual(self.post(REPORT), 200)

    def test_has_room_for_so_many_connections(self):
        self.stop()
        self.start("--connections", "1")
        with socket.create_connection(("127.0.0.1", self.port)):
            self.assertEqual(self.exchange(b""), 503)
        while self.exchange(b"") == 503:  # until the server has seen the end
            pass
        self.assertEqual(self.post(REPORT), 200)

    def test_survives_a_reset(self):
        connection = socket.create_connection(("127.0.0.1", self.port))
        connection.sendall(b"POST /php/ic.php HTTP/1.1\r\nContent-Length: 35\r\n\r\nsubject=")
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        connection.close()
        self.assertIn("127.0.0.1 ", self.server.stdout.readline())
        self.assertEqual(self.post(REPORT), 200)

    def test_gives_a_request_one_deadline(self):
        spec = importlib.util.spec_from_file_location("receiver", RECEIVER)
        receiver = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(receiver)

        class Connection:
            """Each byte takes three seconds."""
            now = 0
            timeouts = []

            def settimeout(self, seconds):
                self.timeouts.append(seconds)

            def recv_into(self, buffer):
                self.now += 3
                return 1

        connection = Connection()
        reader = receiver.DeadlineReader(connection, 10, lambda: connection.now)
        for _ in range(2):
            for _ in range(4):
                self.assertEqual(len(reader.read(1)), 1)
            self.assertRaises(TimeoutError, reader.read, 1)
            reader.begin()
        self.assertEqual(connection.timeouts, [10, 7, 4, 1] * 2)

    def test_refuses_an_address_that_it_cannot_have(self):
        for arguments in (["--port", str(self.port)], ["--port", "99999"]):
            with self.subTest(arguments):
                run = subprocess.run([sys.executable, RECEIVER, *arguments, self.desk],
                                     capture_output=True, text=True, timeout=60)
                self.assertEqual(run.returncode, 2)
                self.assertNotIn("Traceback", run.stderr)

    def test_keeps_each_report_in_a_folder_of_its_own(self):
        subjects = [b"BKFD%5C1", b"BKFD%5C1", b"../../x", b"%2Fetc%2Fpasswd", b"%00%0A%FF"]
        for subject in subjects:
            self.assertEqual(self.post(b"subject=" + subject + b"&value=UEsDBA%3D%3D"), 200)
        self.assertEqual(self.post(REPORT, path="http://support.example" + ADDRESS), 200)
        files = self.stored()
        folders = {pathlib.PurePosixPath(name).parent for name in files}
        self.assertEqual(len(folders), len(subjects) + 1)
        for folder in folders:
            self.assertRegex(str(folder), r"^a/desk/\d{8}-\d{6}-\w+$")
            names = {pathlib.PurePosixPath(name).name for name in files
                     if pathlib.PurePosixPath(name).parent == folder}
            self.assertEqual(names, {"body", "subject", "received"})


if __name__ == "__main__":
    unittest.main()
