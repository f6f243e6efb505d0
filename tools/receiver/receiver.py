#!/usr/bin/env python3
"""Takes support reports: a first support desk, and the other end for tests.

Usage: tools/receiver/receiver.py [--port N] [--host ADDRESS] [--status N] FOLDER

Listens on loopback unless told otherwise; port 0 takes a free one. "listening on HOST:PORT" is
printed when it is ready. A POST to /php/ic.php is stored in a new folder below FOLDER: `body` as it
came, `subject` decoded, and `received` with the time and the sender. The answer is 200. Everything
else is refused: another path 404, another method 405, no length 411, more than 64 MiB 413, no report
or one without an archive 400, no room to store it 507. Read the reports with `brackenfold decode
FOLDER/.../body`. It also serves as the sender's HTTP proxy, which makes tests of the real address
simple.

--status N answers every good report with that status instead, for tests.
"""
import argparse
import contextlib
import datetime
import http.server
import os
import pathlib
import shutil
import tempfile
import urllib.parse

PATH = "/php/ic.php"
LARGEST_BODY = 64 * 1024 * 1024
# A refused body up to this size is read and dropped: a sender that is cut off in the middle never
# sees the answer.
LARGEST_DRAINED = 4 * LARGEST_BODY
PIECE = 64 * 1024


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    timeout = 60  # seconds without a byte

    def do_POST(self):
        if not self.is_support_address():
            return self.refuse(404, "no such page")
        length = self.length()
        if length is None:
            return self.refuse(411, "a length is needed")
        if length > LARGEST_BODY:
            return self.refuse(413, "larger than 64 MiB")
        body = self.rfile.read(length)
        if len(body) < length:  # the sender went away
            self.close_connection = True
            return None
        fields = self.fields(body)
        if fields is None:
            return self.answer(400, "no report")
        try:
            self.store(body, fields["subject"])
        except OSError as error:
            return self.answer(507, f"can't be stored: {error.strerror}")
        return self.answer(self.server.status, "thank you")

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

    def store(self, body, subject):
        """Each report gets a folder of its own, whole or not at all; nothing of the report takes
        part in its name."""
        now = datetime.datetime.now()
        incoming = pathlib.Path(tempfile.mkdtemp(prefix=".incoming-", dir=self.server.folder))
        try:
            (incoming / "subject").write_text(subject + "\n", encoding="utf-8", errors="replace")
            (incoming / "received").write_text(
                f"{now.isoformat()} from {self.client_address[0]}\n")
            with open(incoming / "body", "wb") as file:
                file.write(body)
                file.flush()
                os.fsync(file.fileno())
            number = incoming.name.removeprefix(".incoming-")
            incoming.rename(self.server.folder / now.strftime(f"%Y%m%d-%H%M%S-{number}"))
        except OSError:
            shutil.rmtree(incoming, ignore_errors=True)
            raise

    def refuse(self, status, reason):
        self.close_connection = True
        self.answer(status, reason)
        left = min(self.length() or 0, LARGEST_DRAINED)
        while left > 0 and (piece := self.rfile.read(min(left, PIECE))):
            left -= len(piece)

    def answer(self, status, text):
        content = (text + "\n").encode()
        if status in (204, 304):
            content = b""
        self.send_response(status)
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(content)))
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


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--port", type=int, default=8080)
    parser.add_argument("--host", default="127.0.0.1")
    parser.add_argument("--status", type=int, default=200)
    options = parser.parse_args()
    try:
        options.folder.mkdir(parents=True, exist_ok=True)
        server = http.server.ThreadingHTTPServer((options.host, options.port), Handler)
    except (OSError, OverflowError) as error:
        parser.error(str(error))
    server.folder = options.folder
    server.status = options.status
    print(f"listening on {options.host}:{server.server_address[1]}", flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
