"""A headless Chromium that does what a test says, over the pipe of its debugging protocol."""
import json
import os
import shutil
import subprocess
import tempfile

KEYS = {"Enter": (13, "\r"), "Tab": (9, ""), "Escape": (27, ""), " ": (32, " "), "/": (191, "/")}


class Browser:
    """Pages of the disk, in a profile that goes with the object. `events` keeps what it tells."""

    def __init__(self):
        self._profile = tempfile.mkdtemp(prefix="bkfd-browser-")
        to_browser, self._out = os.pipe()
        self._in, from_browser = os.pipe()

        def take_pipes():
            # Numbers 3 and 4 are what it reads and writes.
            high = [os.dup2(to_browser, 10), os.dup2(from_browser, 11)]
            for number, target in zip(high, (3, 4)):
                os.dup2(number, target)
        self._process = subprocess.Popen(
            ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--hide-scrollbars",
             f"--user-data-dir={self._profile}", "--remote-debugging-pipe", "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            close_fds=False, preexec_fn=take_pipes)
        os.close(to_browser)
        os.close(from_browser)
        self._buffer, self._number, self._session, self.events = b"", 0, None, []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")

    def close(self):
        self._session = None
        try:
            self.call("Browser.close")
            self._process.wait(20)
        except (OSError, EOFError, subprocess.TimeoutExpired):
            self._process.kill()
            self._process.wait()
        os.close(self._in)
        os.close(self._out)
        shutil.rmtree(self._profile, ignore_errors=True)

    def _read(self):
        while b"\0" not in self._buffer:
            more = os.read(self._in, 1 << 20)
            if not more:
                raise EOFError("the browser has ended")
            self._buffer += more
        message, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._out, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._read()
            if answer.get("id") == self._number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def open(self, path):
        """Ends when the page has loaded."""
        self.events.clear()
        self.call("Page.navigate", url=f"file://{path}")
        while not any(event["method"] == "Page.loadEventFired" for event in self.events):
            self.events.append(self._read())

    def evaluate(self, expression):
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(f"{expression}: {answer['exceptionDetails']}")
        return answer["result"].get("value")

    def press(self, *keys):
        for key in keys:
            code, text = KEYS.get(key, (0, key))
            facts = {"key": key, "windowsVirtualKeyCode": code, "text": text}
            self.call("Input.dispatchKeyEvent", type="keyDown", **facts)
            self.call("Input.dispatchKeyEvent", type="keyUp", key=key, windowsVirtualKeyCode=code)

    def complaints(self):
        """What a page must not give rise to: errors, messages, dialogues, requests."""
        found = []
        for event in self.events:
            facts = event.get("params", {})
            url = facts.get("request", {}).get("url", "")
            if event["method"] in ("Runtime.exceptionThrown", "Log.entryAdded",
                                   "Runtime.consoleAPICalled", "Page.javascriptDialogOpening"):
                found.append(json.dumps(facts)[:400])
            elif event["method"] == "Network.requestWillBeSent" and not url.startswith("file:"):
                found.append(url)
        return found
