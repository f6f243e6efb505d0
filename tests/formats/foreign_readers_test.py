#!/usr/bin/env python3
"""Registry files of ours, read by the program and by foreign readers; a fault in ours is noticed."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

WRITER, CHANGER, PROGRAM = sys.argv[-3:]
del sys.argv[-3:]
ROOT = pathlib.Path(__file__).parents[2]
COMPARE = ROOT / "tools/compare_hives.py"
SCHEMA = ROOT / "docs/schema/lines/registry.json"


class ForeignReaders(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self.scratch.name)
        for name in ("new", "old"):
            (self.folder / name).mkdir()
        subprocess.run([WRITER, self.folder], check=True)
        state = [{"k": ""}, {"k": "", "v": "version", "t": 4, "d": "04000000"}]
        self.recovered = self.folder / "old/Hive.recovered.jsonl"
        self.recovered.write_text("\n".join(map(json.dumps, state)), encoding="utf-8")

    def tearDown(self):
        self.scratch.cleanup()

    def compare(self, *options, program=PROGRAM, path=""):
        # Debian's own Python has libhivex's binding.
        run = subprocess.run(["/usr/bin/python3", COMPARE, *options, program, self.folder],
                             timeout=300, capture_output=True, text=True,
                             env={**os.environ, "PATH": path + os.environ["PATH"]})
        return run.returncode, run.stdout

    def keep_one_hive(self, name):
        """Under the name, in a folder of odd names."""
        hive = (self.folder / "grown_li").read_bytes()
        self.scratch.cleanup()
        place = self.folder / "in folders/ü [x]" / os.fsdecode(name)
        place.parent.mkdir(parents=True)
        place.write_bytes(hive)

    def script(self, name, text):
        script = self.folder.parent / (self.folder.name + "-" + name) / name
        script.parent.mkdir()
        self.addCleanup(shutil.rmtree, script.parent)
        script.write_text("#!/bin/sh\n" + text, encoding="utf-8")
        script.chmod(0o755)
        return script

    def test_all_agree(self):
        code, text = self.compare()
        self.assertEqual((code, text.splitlines()[-1]),
                         (0, "13 files, 8569 keys, 743 values, 0 differences"), text)
        # A name with a lone surrogate is too much for one reader of three.
        self.assertEqual(text.count("refuses"), 4, text)

    def test_what_differs_is_told(self):
        self.recovered.write_text(json.dumps({"k": "", "v": "version", "t": 4, "d": "05000000"}))
        code, text = self.compare()
        self.assertEqual(code, 1)
        self.assertEqual(text.splitlines()[-1], "13 files, 8569 keys, 743 values, 2 differences")

    def test_a_reader_that_crashes_is_no_difference_and_ours_is_one(self):
        self.keep_one_hive(b"Gr\xf6\xdfe of a hive")
        broken = self.script("reglookup", "kill -SEGV $$")
        code, text = self.compare(path=f"{broken.parent}:")
        self.assertIn("reglookup: was ended by signal 11", text)
        self.assertIn("libhivex, reglookup refuses, regfexport\n", text)
        self.assertEqual(code, 0, text)
        ours = self.script("ours", f'"{PROGRAM}" "$@"; exit 139')
        code, text = self.compare(program=ours)
        self.assertIn("DIFFERENT: registry ended with 139", text)
        self.assertEqual(code, 1)

    def test_changed_hives_are_read_by_all_and_come_back(self):
        code, text = self.compare("--change", CHANGER)
        self.assertEqual(code, 0, text)
        self.assertRegex(text.splitlines()[-1], ", 0 differences$")
        self.assertEqual(text.count(" keys and back"), 12, text)

    def test_lines_fit_their_schema(self):
        schema = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text(encoding="utf-8")))
        for name in ("of_version_3", "of_version_5_large", "USER.DAT"):
            run = subprocess.run([PROGRAM, "registry", self.folder / name], check=True, timeout=60,
                                 capture_output=True, text=True)
            for line in run.stdout.splitlines():
                schema.validate(json.loads(line))
        self.assertFalse(schema.is_valid({"key": "A"}))
        self.assertFalse(schema.is_valid({"key": "\\A", "name": "", "type": 1}))


if __name__ == "__main__":
    unittest.main()
