#!/usr/bin/env python3
"""An HTTP server on loopback that ends every exchange in one odd way, for tests of the sender.

Usage: tests/common/odd_server.py [--port N] MODE [CODE]

Port 0, the default, takes a free one. The modes:

  status CODE   reads the request and answers with that status and no body; 3xx without an address
  redirect      answers 302 with an address; a GET of that is answered with 200
  hang          reads the request and never answers
  hang-body     answers 200 and half of the body, then nothing more
  half          answers 200 and half of the body, then closes
  half-head     closes in the middle of the status line
  cut-head      closes in the middle of the headers behind it
  close         closes without having read the request

Prints "listening on HOST:PORT" when it is ready, then a line for each request.
"""
import argparse
import socketserver
import threading


class Handler(socketserver.StreamRequestHandler):
    def handle(self):
        mode = self.server.mode
        if mode == "close":
            return
        line = self.rfile.readline().decode("latin-1").strip()
        length = 0
        while (header := self.rfile.readline().decode("latin-1").strip()) != "":
            name, _, value = header.partition(":")
            if name.lower() == "content-length":
                length = int(value)
        self.rfile.read(length)
        print(f"{line} ({length} bytes)", flush=True)
        if mode == "status":
            code = self.server.code
            self.say(f"HTTP/1.1 {code} Status {code}\r\nContent-Length: 0\r\n\r\n")
        elif mode == "redirect" and line.startswith("POST"):
            self.say("HTTP/1.1 302 Found\r\nLocation: /thanks\r\nContent-Length: 0\r\n\r\n")
        elif mode == "redirect":
            self.say("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
        elif mode in ("half", "hang-body"):
            self.say("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n" + 50 * "x")
        elif mode == "half-head":
            self.say("HTTP/1.1 20")
        elif mode == "cut-head":
            self.say("HTTP/1.1 200 OK\r\nContent-Le")
        if mode.startswith("hang"):
            threading.Event().wait()

    def say(self, text):
        text = text.replace("\r\n\r\n", "\r\nConnection: close\r\n\r\n")
        self.wfile.write(text.encode("latin-1"))
        self.wfile.flush()


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mode")
    parser.add_argument("code", nargs="?", type=int, default=200)
    parser.add_argument("--port", type=int, default=0)
    options = parser.parse_args()
    with Server(("127.0.0.1", options.port), Handler) as server:
        server.mode = options.mode
        server.code = options.code
        print(f"listening on 127.0.0.1:{server.server_address[1]}", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    main()
