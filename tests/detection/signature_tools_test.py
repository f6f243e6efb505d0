"""Tests of the signature tools on copies of the lists."""

import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))

import add_signature
import make_signature_lists
import signature_lists
from content_hash import content_hash


class ContentHashTest(unittest.TestCase):
    def test_worked_values(self):
        for data, value in ((b"", 0), (b"MZ", 1073741952), (b"MZ\x90\0", 268435560),
                            (b"abc", 536871084), (b"\xff" * 40, 2147483647)):
            self.assertEqual(content_hash(data), value, data)


class GeneratorTest(unittest.TestCase):
    def test_makes_the_same_lists_each_time_which_the_program_holds(self):
        lists = make_signature_lists.make_lists()
        make_signature_lists.check_regularities(lists)
        signature_lists.check_pairs(lists)
        self.assertEqual(lists, make_signature_lists.make_lists())
        for name, values in signature_lists.read_all().items():
            self.assertLessEqual(set(lists[name]), set(values), name)


class AddSignatureTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name in signature_lists.NAMES:
            shutil.copy(signature_lists.DIRECTORY / f"{name}.txt", self.folder)
        self.summary = self.folder / "summary.txt"
        self.before = signature_lists.read_all(self.folder)

    def file(self, name, data):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def add(self, kind, *paths):
        return add_signature.run(paths, kind, self.folder, self.summary)

    def test_adds_size_and_hash_once_and_in_order(self):
        path = self.file("bad.dll", b"abc")
        self.assertEqual(self.add("parasite", path),
                         [f"3\t536871084\t{path}\tsize added, hash added"])
        self.assertEqual(self.add("parasite", path, path),
                         [f"3\t536871084\t{path}\tsize known, hash known"] * 2)
        after = signature_lists.read_all(self.folder)
        for kind, value in (("sizes", 3), ("hashes", 536871084)):
            name = f"parasite_{kind}"
            self.assertEqual(after[name], sorted({*self.before[name], value}))
            self.assertEqual(after[f"good_{kind}"], self.before[f"good_{kind}"])
        self.assertEqual(self.summary.read_text(), signature_lists.summary(after))

    def test_prints_without_changing_anything(self):
        path = self.file("a.dll", b"abc")
        self.assertEqual(add_signature.run([path], None), [f"3\t536871084\t{path}"])

    def test_refuses_what_could_not_be_told_apart(self):
        good = self.file("good.dll", b"fine")
        for label, data in (("empty", b""), ("only zeros", bytes(600)),
                            ("the hash of a good file", b"\xff" * 700)):
            with self.subTest(label), self.assertRaises(signature_lists.ListError):
                self.add("parasite", good, self.file("bad.dll", data))
        with self.assertRaises(OSError):
            self.add("parasite", good, self.folder / "missing.dll")
        self.assertEqual(signature_lists.read_all(self.folder), self.before)
        self.assertFalse(self.summary.exists())

    def test_refuses_a_malformed_list(self):
        for text in ("5\n4\n", "5\n5\n", "0\n", "2147483648\n", "x\n", "1\n\n2\n"):
            (self.folder / "good_sizes.txt").write_text(text)
            with self.subTest(text), self.assertRaises(signature_lists.ListError):
                signature_lists.read_all(self.folder)


if __name__ == "__main__":
    unittest.main()
