#!/usr/bin/env python3
"""The pages of one machine and of many, in a headless Chromium.

    page_test.py PROGRAM [--pictures FOLDER]    the pictures are to be looked at
"""
import base64
import copy
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from browser import Browser

ROOT = pathlib.Path(__file__).resolve().parents[2]
PICTURES = None
if "--pictures" in sys.argv:
    at = sys.argv.index("--pictures")
    PICTURES = pathlib.Path(sys.argv[at + 1])
    del sys.argv[at:at + 2]
PROGRAM = pathlib.Path(sys.argv.pop(1)).resolve()
FLEET = ROOT / "tools/brackenfold-fleet"
HOSTILE = ("</script><script>alert(1)</script>", "<img src=http://127.0.0.1:9/x onerror=alert(1)>",
           "\"><svg onload=alert(1)>", "javascript:alert(1)", "\u202egpj.exe", "{{1}}", "${1}", "$&",
           "__proto__", "constructor", "a\nb", "\udce4", "<style>*{display:none}</style>")
TEXT = "document.body.innerText"
ROWS = "[...document.querySelectorAll('table[aria-label=\"Machines\"] tbody tr')].map(r => r.innerText)"


def record_of(example):
    return json.loads(subprocess.run(
        [PROGRAM, "--machine", ROOT / "examples/machines" / example, "scan", "--record", "--times",
         "--suspicious"], capture_output=True, check=True).stdout)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="bkfd-page-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)
        cls.examples = {name: record_of(name) for name in ("hijacked-xp", "clean-xp", "hijacked-98")}

    def setUp(self):
        self.base = copy.deepcopy(self.examples)

    def merge(self, records, name):
        folder = self.folder / name
        folder.mkdir()
        for number, record in enumerate(records):
            (folder / f"{number}.json").write_text(json.dumps(record, separators=(",", ":")) + "\n")
        (folder / "broken.json").write_text("{}\n")
        subprocess.run([FLEET, "merge", folder], capture_output=True, timeout=300)
        return folder / "fleet.html"

    def named(self, names):
        bases = list(self.base.values())
        for number, name in enumerate(names):
            record = bases[number % len(bases)]
            record["machine"]["name"] = name
            yield record

    def picture(self, name):
        if PICTURES:
            data = self.browser.call("Page.captureScreenshot", captureBeyondViewport=False)["data"]
            (PICTURES / f"{name}.png").write_bytes(base64.b64decode(data))

    def open(self, path):
        self.browser.open(path)
        self.assertEqual(self.browser.complaints(), [])
        return self.browser.evaluate("Number(document.documentElement.dataset.ready)")

    def test_ten_thousand_machines_are_ready_soon_and_found_by_keyboard(self):
        names = [f"/srv/room-{number // 100}/pc-{number:05d}" for number in range(10_000)]
        page = self.merge(self.named(names), "many")
        ready = self.open(page)
        print(f"10,000 machines: {page.stat().st_size} bytes, ready after {ready:.0f} ms")
        # The aim is 2 s on a quiet computer; this one may be busy.
        self.assertLess(ready, 6000)
        self.assertIn("Brackenfold: 10,001 machines", self.browser.evaluate(TEXT))
        self.browser.press("/", *"pc-09876")
        self.assertEqual([row.split("\t")[0] for row in self.browser.evaluate(ROWS)],
                         ["/srv/room-98/pc-09876"])
        self.browser.press("Tab", "Tab")  # past the verdict to the first head
        self.browser.press("Enter", "Enter")
        self.browser.evaluate("document.querySelector('input').select()")
        self.browser.evaluate("document.querySelector('input').focus()")
        self.browser.press("Escape")
        rows = self.browser.evaluate(ROWS)
        self.assertEqual(rows[0].split("\t")[0], "/srv/room-99/pc-09999", "sorted downwards")
        self.assertEqual(len(rows), 50)
        self.picture("many")

    def test_hostile_texts_run_nothing(self):
        for record in self.base.values():
            for found in (*record["files"], *record["bhos"]):
                found["path" if "path" in found else "file"] = HOSTILE[0]
                for text in HOSTILE:
                    found.setdefault("places", []).append(
                        {"kind": "module", "name": text, "user": text, "view": None,
                         "registry": {"hive": "HKLM", "key": text, "path": text}, "technique": None})
            for found in record["settings"]:
                found.update(value=HOSTILE[1], status="i")
            record["unreadable"] = [{"kind": "file", "name": text, "error": text} for text in HOSTILE]
            record["ignored"] = [{"kind": "file", "path": text, "clsid": text, "sha256": None, "view": None,
                                  "note": text, "date": text} for text in HOSTILE]
        self.open(self.merge(self.named(HOSTILE), "hostile"))
        self.browser.evaluate("document.querySelectorAll('[aria-expanded]').forEach(b => b.click())")
        text = self.browser.evaluate(TEXT)
        for shown in (*HOSTILE[:4], "\\u{202e}gpj.exe", "a\\u{000a}b", "__proto__", "$&"):
            self.assertIn(shown, text)
        self.assertNotIn("\u202e", text)
        tags = self.browser.evaluate("[...document.querySelectorAll('#page *')].map(e => e.tagName)")
        self.assertEqual(set(tags) & {"SCRIPT", "IMG", "SVG", "A", "STYLE", "IFRAME"}, set())
        # Nor would markup that got in by another way.
        self.browser.evaluate("document.body.insertAdjacentHTML('beforeend', "
                              "'<img src=x onerror=\"window.ran = 1\">')")
        self.assertEqual(self.browser.evaluate("String(window.ran)"), "undefined")
        self.assertEqual([event for event in self.browser.events
                          if event["method"] == "Page.javascriptDialogOpening"], [])
        self.picture("hostile")

    def test_one_machine_has_the_same_page(self):
        machine = self.folder / "pc"
        shutil.copytree(ROOT / "examples/machines/hijacked-xp", machine)

        def run(*words):
            return subprocess.run([PROGRAM, "--machine", machine, *words], capture_output=True)
        run("scan", "--html", self.folder / "scan.html")
        run("clean", "--yes")
        run("undo", "last", "--html", self.folder / "undo.html")
        for name, parts in (("scan", ("Brackenfold: pc", "hpjk.dll", "http://search.example/")),
                            ("undo", ("Automatic cleanup on pc", "delete value", "taken back"))):
            self.open(self.folder / f"{name}.html")
            text = self.browser.evaluate(TEXT)
            for part in parts:
                self.assertIn(part, text)
            self.picture(name)

    def test_it_can_be_read_in_the_dark_and_on_paper(self):
        page = self.merge(self.named([f"pc-{number:03d}" for number in range(120)]), "few")
        self.open(page)
        looks = {}
        for look in ("light", "dark"):
            self.browser.call("Emulation.setEmulatedMedia",
                              features=[{"name": "prefers-color-scheme", "value": look}])
            looks[look] = self.browser.evaluate("getComputedStyle(document.body).backgroundColor")
            self.picture(look)
        self.assertEqual(looks, {"light": "rgb(255, 255, 255)", "dark": "rgb(22, 24, 28)"})
        self.browser.call("Emulation.setEmulatedMedia", features=[])
        paper = base64.b64decode(self.browser.call("Page.printToPDF")["data"])
        self.assertGreater(paper.count(b"/Type /Page\n") + paper.count(b"/Type /Page "), 2,
                           "all machines are printed, not only the first screen of them")
        if PICTURES:
            (PICTURES / "print.pdf").write_bytes(paper)
        patterns = self.browser.evaluate("new Set([...document.querySelectorAll('.bar:not([hidden])')]"
                                         ".map(bar => getComputedStyle(bar).backgroundImage)).size")
        self.assertGreaterEqual(patterns, 2, "bars differ by more than colour")


if __name__ == "__main__":
    unittest.main()
