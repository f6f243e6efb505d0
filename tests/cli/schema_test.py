#!/usr/bin/env python3
"""Every document that the command line's tests made fits its schema in docs/schema, and no other."""
import json
import pathlib
import shutil
import sys
import unittest

import jsonschema

DOCUMENTS = pathlib.Path(sys.argv.pop())
SCHEMAS = pathlib.Path(__file__).parents[2] / "docs/schema"


class SchemaTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        schemas = {path.stem: json.loads(path.read_text(encoding="utf-8"))
                   for path in SCHEMAS.glob("*.json")}
        store = {f"{name}.json": schema for name, schema in schemas.items()}
        cls.validators = {}
        for name, schema in schemas.items():
            jsonschema.Draft202012Validator.check_schema(schema)
            resolver = jsonschema.RefResolver(f"{name}.json", schema, store=store)
            cls.validators[name] = jsonschema.Draft202012Validator(schema, resolver=resolver)
        del cls.validators["common"]
        cls.documents = {}
        for path in sorted(DOCUMENTS.glob("*.json")):
            command = path.name.split(".")[0]
            if command in cls.validators:
                cls.documents.setdefault(command, []).append(
                    (path.name, path.read_text(encoding="utf-8")))
        shutil.rmtree(DOCUMENTS, ignore_errors=True)  # none of an older run is left

    def test_documents_fit(self):
        self.assertEqual(sorted(self.documents), sorted(self.validators))
        for command, documents in self.documents.items():
            for name, text in documents:
                with self.subTest(name):
                    self.validators[command].validate(json.loads(text))

    def test_schemas_are_strict(self):
        for command, documents in self.documents.items():
            document = json.loads(documents[0][1])
            for edit in (lambda it: it.pop("machine"), lambda it: it.update(more=1),
                         lambda it: it.update(schema=1)):
                changed = dict(document)
                edit(changed)
                with self.subTest(command):
                    self.assertFalse(self.validators[command].is_valid(changed))

    def test_a_terminal_is_not_fooled(self):
        for name, text in sum(self.documents.values(), []):
            odd = [c for c in text if c in "\u202e\u009b\u061c\ufeff" or c < " " and c != "\n"]
            self.assertEqual(odd, [], name)


if __name__ == "__main__":
    unittest.main()
