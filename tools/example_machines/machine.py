"""A machine in files, collected in memory and then written as a folder."""

import json

import signature_lists

from .content_hash_steering import steer
from .programs import ne_file, pe_file
from .registry_text import registry_file


SIGNATURES = signature_lists.read_all()


def check_listed(size, content_hash):
    """A file that a case needs to be known must be in the lists with both its numbers."""
    for kind in signature_lists.KINDS:
        if (size in SIGNATURES[f"{kind}_sizes"] and content_hash in SIGNATURES[f"{kind}_hashes"]):
            return
    raise ValueError(f"size {size} and content hash {content_hash} are no listed pair")


class Machine:
    """Paths are Windows paths on C:. Processes and facts go into machine.json as they are."""

    def __init__(self, **facts):
        self.facts = facts
        self.processes = []
        self.file_facts = {}
        self.files = {}
        self.registry = {}

    def add_file(self, path, content):
        assert path.startswith("C:\\") and path not in self.files, path
        self.files[path] = content

    def add_text(self, path, text, encoding="cp1252"):
        self.add_file(path, text.replace("\n", "\r\n").encode(encoding))

    def add_program(self, path, company=None, description=None, *, product=None, strings=None,
                    version="1.0.0.0", size=None, content_hash=None, form=pe_file, **facts):
        """A program file. Without company, description, product and strings it has no version
        record. `size` and `content_hash` pad and steer the file to listed values."""
        record = dict(strings or {})
        for field, text in (("CompanyName", company), ("FileDescription", description),
                            ("ProductName", product)):
            if text is not None:
                record[field] = text
        if record:
            record.setdefault("FileVersion", version)
        content = form(path.split("\\")[-1], record or None, version)
        if size is not None or content_hash is not None:
            content = steer(content, size, content_hash)
        if content_hash is not None:
            check_listed(size, content_hash)
        self.add_file(path, content)
        if facts:
            self.file_facts[path] = facts

    def add_process(self, number, path, modules=(), /, **flags):
        process = {"id": number, "path": path}
        if modules:
            process["modules"] = list(modules)
        self.processes.append(process | flags)

    def add_registry(self, name, form, keys):
        assert name not in self.registry
        self.registry[name] = registry_file(keys, form)

    def content(self):
        """The folder's files: path with slashes to bytes."""
        facts = dict(self.facts, processes=self.processes)
        if self.file_facts:
            facts["files"] = self.file_facts
        result = {"machine.json": (json.dumps(facts, indent=2, ensure_ascii=False) + "\n").encode()}
        result |= {f"registry/{name}": data for name, data in self.registry.items()}
        result |= {"drives/c/" + path[3:].replace("\\", "/"): data
                   for path, data in self.files.items()}
        return result


__all__ = ["Machine", "ne_file", "pe_file"]
