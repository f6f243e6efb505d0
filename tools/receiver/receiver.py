#!/usr/bin/env python3
"""Takes support reports: a first support desk, and the other end for tests.

Usage: tools/receiver/receiver.py [--port N] [--host ADDRESS] [--connections N]
                                  [--deadline SECONDS] [--status N] FOLDER

Listens on loopback unless told otherwise; port 0 takes a free one. "listening on HOST:PORT" is
printed when it is ready. A POST to /php/ic.php is stored in a new folder below FOLDER: `body` as it
came, `subject` decoded, and `received` with the time and the sender. The answer is 200. Everything
else is refused: another path 404, another method 405, no length 411, several or one beside chunks
400, malformed headers 400, more than 64 MiB 413, no report or one without an archive 400, no room to store it 507. Read the
reports with `brackenfold decode FOLDER/.../body`. It also serves as the sender's HTTP proxy, which
makes tests of the real address simple.

A body goes to the disk as it comes, and one at a time is looked at in memory. At most 64 connections
are open at once, further ones get 503, and a whole request, from its first byte to its last, has five
minutes (--connections, --deadline).

--status N answers every good report with that status instead, for tests.
"""
import argparse
import contextlib
import datetime
import http.server
import io
import os
import pathlib
import shutil
import sys
import tempfile
import threading
import time
import urllib.parse

PATH = "/php/ic.php"
LARGEST_BODY = 64 * 1024 * 1024
# A refused body up to this size is read and dropped: a sender that is cut off in the middle never
# sees the answer.
LARGEST_DRAINED = 4 * LARGEST_BODY
PIECE = 64 * 1024


class DeadlineReader(io.RawIOBase):
    """Reads from a socket until a moment, however the bytes are spread; then it is TimeoutError."""

    def __init__(self, connection, seconds, clock=time.monotonic):
        super().__init__()
        self.connection = connection
        self.seconds = seconds
        self.clock = clock
        self.begin()

    def begin(self):
        """A new request has all of the time."""
        self.end = self.clock() + self.seconds

    def readable(self):
        return True

    def readinto(self, buffer):
        left = self.end - self.clock()
        if left <= 0:
            raise TimeoutError("the request took too long")
        self.connection.settimeout(left)
        return self.connection.recv_into(buffer)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def setup(self):
        super().setup()
        self.rfile.close()
        self.reader = DeadlineReader(self.connection, self.server.deadline)
        self.rfile = io.BufferedReader(self.reader, PIECE)

    def handle_one_request(self):
        self.reader.begin()
        super().handle_one_request()

    def do_POST(self):
        if not self.has_plain_headers():
            return self.refuse(400, "malformed headers")
        if not self.is_support_address():
            return self.refuse(404, "no such page")
        if self.headers.get_all("Transfer-Encoding"):
            return self.refuse(400, "chunks aren't taken")
        lengths = self.headers.get_all("Content-Length", [])
        if len(lengths) > 1:
            return self.refuse(400, "more than one length")
        length = self.length()
        if length is None:
            return self.refuse(411, "a length is needed")
        if length > LARGEST_BODY:
            return self.refuse(413, "larger than 64 MiB")
        try:
            return self.answer(*self.take(length))
        except (ConnectionError, TimeoutError):
            raise
        except OSError as error:
            return self.refuse(507, f"can't be stored: {error.strerror}")

    def take(self, length):
        """Stores the body in a folder of its own, whole or not at all; nothing of the report takes
        part in its name. Returns the answer."""
        now = datetime.datetime.now()
        incoming = pathlib.Path(tempfile.mkdtemp(prefix=".incoming-", dir=self.server.folder))
        try:
            body = incoming / "body"
            self.receive(body, length)
            with self.server.in_memory:
                fields = self.fields(body.read_bytes())
                if fields is None:
                    return 400, "no report"
                (incoming / "subject").write_text(fields["subject"] + "\n", encoding="utf-8",
                                                  errors="replace")
            (incoming / "received").write_text(
                f"{now.isoformat()} from {self.client_address[0]}\n")
            number = incoming.name.removeprefix(".incoming-")
            incoming.rename(self.server.folder / now.strftime(f"%Y%m%d-%H%M%S-{number}"))
            return self.server.status, "thank you"
        finally:
            shutil.rmtree(incoming, ignore_errors=True)

    def receive(self, path, length):
        """The next bytes of the connection, synced to a new file."""
        with open(path, "xb") as file:
            while length > 0:
                piece = self.rfile.read1(min(length, PIECE))
                if not piece:
                    raise ConnectionError("the sender went away")
                file.write(piece)
                length -= len(piece)
            file.flush()
            os.fsync(file.fileno())

    def has_plain_headers(self):
        """A line that is no header hides all behind it from us, but not from a proxy before us; so may
        a header of several lines."""
        return not self.headers.defects and not any(
            "\n" in value or "\r" in value for value in self.headers.values())

    def is_support_address(self):
        """A proxy is given the whole address, a server its path."""
        try:
            return urllib.parse.urlsplit(self.path).path == PATH
        except ValueError:
            return False

    def length(self):
        """The body's length; a number beyond all use counts as too large."""
        text = self.headers.get("Content-Length", "")
        if not (text.isascii() and text.isdigit()):
            return None
        return int(text) if len(text) < 16 else 10 ** 16

    def do_GET(self):
        self.refuse(405, "POST only")

    do_HEAD = do_PUT = do_DELETE = do_GET

    @staticmethod
    def fields(body):
        """The form's fields, or None when it isn't a report."""
        try:
            pairs = urllib.parse.parse_qsl(body.decode("ascii"), keep_blank_values=True,
                                           strict_parsing=True, max_num_fields=16)
        except ValueError:
            return None
        fields = dict(pairs)
        return fields if "subject" in fields and fields.get("value") else None

    def refuse(self, status, reason):
        self.close_connection = True
        self.answer(status, reason)
        left = min(self.length() or 0, LARGEST_DRAINED)
        while left > 0 and (piece := self.rfile.read1(min(left, PIECE))):
            left -= len(piece)

    def answer(self, status, text):
        content = (text + "\n").encode()
        if status in (204, 304):
            content = b""
        self.send_response(status)
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(content)))
        if self.close_connection:
            self.send_header("Connection", "close")
        if status == 302:
            self.send_header("Location", "/thanks")
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(content)

    def log_message(self, format, *args):
        """What the sender chose reaches the terminal as plain ASCII; a report is taken all the same
        when nobody reads the log any more."""
        with contextlib.suppress(OSError):
            print(f"{self.client_address[0]} {ascii(format % args)[1:-1]}", flush=True)


class Server(http.server.ThreadingHTTPServer):
    """A thread for each connection, and no more connections than it has places for."""

    def __init__(self, address, options):
        super().__init__(address, Handler)
        self.folder = options.folder
        self.status = options.status
        self.deadline = options.deadline
        self.places = threading.BoundedSemaphore(options.connections)
        self.in_memory = threading.Lock()

    def process_request(self, request, client_address):
        if self.places.acquire(blocking=False):
            try:
                return super().process_request(request, client_address)
            except BaseException:  # no thread could be started
                self.places.release()
                raise
        with contextlib.suppress(OSError):
            request.settimeout(0)
            request.sendall(b"HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n"
                            b"Connection: close\r\n\r\n")
        return self.shutdown_request(request)

    def process_request_thread(self, request, client_address):
        """As the base class has it; who has seen the end of a connection has its place back."""
        try:
            self.finish_request(request, client_address)
        except Exception:
            self.handle_error(request, client_address)
        finally:
            self.places.release()
            self.shutdown_request(request)

    def handle_error(self, request, client_address):
        """A sender that goes away or takes too long costs itself alone; anything else is a fault."""
        error = sys.exc_info()[1]
        if not isinstance(error, (ConnectionError, TimeoutError)):
            return super().handle_error(request, client_address)
        with contextlib.suppress(OSError):
            print(f"{client_address[0]} {ascii(str(error))[1:-1]}", flush=True)
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--port", type=int, default=8080)
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--status", type=int, default=200)
    parser.add_argument("--connections", type=int, default=64)
    parser.add_argument("--deadline", type=float, default=300, help="seconds a request may take")
    options = parser.parse_args()
    try:
        options.folder.mkdir(parents=True, exist_ok=True)
        server = Server((options.host, options.port), options)
    except (OSError, OverflowError, ValueError) as error:
        parser.error(str(error))
    print(f"listening on {options.host}:{server.server_address[1]}", flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
