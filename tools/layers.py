"""The layers as CMake has them: each bkfd_library is one, its folder and what it DEPENDS on."""
import pathlib
import posixpath
import re
from dataclasses import dataclass, field

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIBRARY = re.compile(r"\bbkfd_(?:library|testing)\(\s*(bkfd_\w+)([^()]*)\)")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


@dataclass
class Layer:
    name: str  # of the library
    folder: str  # below src/; what lies in testing/ is "testing"
    cmake: str  # the file that makes it
    sources: list  # paths below src/
    depends: list  # names of libraries of ours
    uses: dict = field(default_factory=dict)  # name of a library: where one of its headers is included


def parse(root, cmake):
    """The layers of one CMakeLists.txt."""
    text = re.sub(r"#.*", "", cmake.read_text(encoding="utf-8"))
    here = cmake.parent.relative_to(root).as_posix()
    for name, rest in LIBRARY.findall(text):
        sources, _, depends = rest.partition("DEPENDS")
        files = [posixpath.normpath(posixpath.join(here, word)) for word in sources.split()
                 if word.endswith(".cpp")]
        folders = {posixpath.dirname(file) for file in files}
        folder = folders.pop() if len(folders) == 1 else here
        yield Layer(name, folder, cmake.relative_to(ROOT).as_posix(), files,
                    [word for word in depends.split() if word.startswith("bkfd_")])


def read_layers():
    """All layers under src/, by folder."""
    layers = {}
    source = ROOT / "src"
    for cmake in sorted(source.rglob("CMakeLists.txt")):
        for layer in parse(source, cmake):
            if layer.folder in layers:
                raise SystemExit(f"{layer.cmake}: {layer.folder}/ is two libraries")
            layers[layer.folder] = layer
    for layer in layers.values():
        for number, line, file in includes(layer, layers):
            target = layer_of(line, layers)
            if target is not None and target is not layer:
                layer.uses.setdefault(target.name, f"{file}:{number}")
    return layers


def layer_of(path, layers):
    """The layer in whose folder the path lies, or None."""
    folder = posixpath.dirname(path)
    while folder and folder not in layers:
        folder = posixpath.dirname(folder)
    return layers.get(folder)


def includes(layer, layers):
    """(line number, included path, including file) of each include of the layer's own files.

    A .cpp that isn't in the library is a program's main, which may use anything.
    """
    source = ROOT / "src"
    for file in sorted((source / layer.folder).rglob("*")):
        path = file.relative_to(source).as_posix()
        if file.suffix not in (".h", ".cpp", ".inc") or layer_of(path, layers) is not layer:
            continue
        if file.suffix == ".cpp" and path not in layer.sources:
            continue
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if match:
                yield number, match[1], f"src/{path}"


def reach(layers):
    """For each library the names of all that it depends on, also through others."""
    by_name = {layer.name: layer for layer in layers.values()}
    found = {}

    def visit(name, path):
        if name in path:
            raise SystemExit("libraries in a circle: " + " ".join((*path, name)))
        if name not in found:
            below = set()
            for other in by_name[name].depends:
                below |= {other} | visit(other, (*path, name))
            found[name] = below
        return found[name]

    for name in by_name:
        visit(name, ())
    return found


def reduced(layers):
    """For each folder the folders right below it: those that aren't reached through another."""
    below = reach(layers)
    folder_of = {layer.name: layer.folder for layer in layers.values()}
    return {
        layer.folder: {folder_of[name] for name in layer.depends
                       if not any(name in below[other] for other in layer.depends)}
        for layer in layers.values()
    }
