#!/usr/bin/env python3
"""What of others is in the packages.

    third_party.py notices                        the rights of what is in the Windows programs, as text
    third_party.py spdx VERSION DIST WORK         an SPDX 2.3 document: the packages in DIST, the files that
                                                  ./package has laid ready for them in WORK, what they hold
"""
import datetime
import hashlib
import json
import os
import pathlib
import subprocess
import sys

# Name, Debian's package, its rights as SPDX names them, which packages hold it, and how.
WINDOWS, LINUX, SETUP = "windows", "linux", "setup"
COMPONENTS = (
    ("zlib", "libz-mingw-w64-dev", "Zlib", {WINDOWS: "STATIC_LINK"}),
    ("RapidJSON", "rapidjson-dev", "MIT", {WINDOWS: "STATIC_LINK", LINUX: "STATIC_LINK"}),
    ("GCC runtime libraries", "gcc-mingw-w64-i686-win32", "GPL-3.0-or-later WITH GCC-exception-3.1", {WINDOWS: "STATIC_LINK"}),
    ("MinGW-w64 runtime", "mingw-w64-i686-dev", "ZPL-2.1", {WINDOWS: "STATIC_LINK"}),
    ("NSIS", "nsis", "Zlib AND CPL-1.0", {SETUP: "CONTAINS"}),
    ("CLI11", "libcli11-dev", "BSD-3-Clause", {LINUX: "STATIC_LINK"}),
    ("JSON for Modern C++", "nlohmann-json3-dev", "MIT", {LINUX: "STATIC_LINK"}),
    ("zlib (shared)", "zlib1g", "Zlib", {LINUX: "DYNAMIC_LINK"}),
    ("Expat", "libexpat1", "MIT", {LINUX: "DYNAMIC_LINK"}),
    ("curl", "libcurl4", "curl", {LINUX: "DYNAMIC_LINK"}),
    ("OpenSSL", "libssl3", "Apache-2.0", {LINUX: "DYNAMIC_LINK"}),
    ("GNU C library", "libc6", "LGPL-2.1-or-later", {LINUX: "DYNAMIC_LINK"}),
    ("GNU C++ library", "libstdc++6", "GPL-3.0-or-later WITH GCC-exception-3.1", {LINUX: "DYNAMIC_LINK"}),
)
OWN_RIGHTS = "LicenseRef-all-rights-reserved"


def debian_version(package):
    return subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], check=True, capture_output=True,
                          text=True).stdout


def notices():
    rule = "=" * 78
    print("Brackenfold: all rights are the makers', Tarnwick Labs.\n\n"
          "It holds work of others, under these terms, as Debian's packages state them.")
    for name, package, _, held_by in COMPONENTS:
        if held_by.keys() & {WINDOWS, SETUP}:
            text = pathlib.Path("/usr/share/doc", package, "copyright").read_text(encoding="utf-8", errors="replace")
            print(f"\n{rule}\n{name}, {package} {debian_version(package)}\n{rule}\n\n{text.strip()}")


def identifier(*parts):
    return "SPDXRef-" + "-".join("".join(c if c.isalnum() or c == "." else "-" for c in part) for part in parts)


def checksums(path):
    content = path.read_bytes()
    return [{"algorithm": name, "checksumValue": hashlib.new(name.lower(), content).hexdigest()} for name in ("SHA1", "SHA256")]


def package_entry(name, version, rights, **others):
    return {"SPDXID": identifier("Package", name), "name": name, "versionInfo": version, "licenseDeclared": rights,
            "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION", "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, **others}


class Document:
    def __init__(self, version):
        self.version = version
        self.packages = [package_entry(name, debian_version(debian), rights, supplier="Organization: Debian", externalRefs=[
            {"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
             "referenceLocator": f"pkg:deb/debian/{debian}@{debian_version(debian)}"}]) for name, debian, rights, _ in COMPONENTS]
        self.files = []
        self.relationships = []

    def relate(self, one, kind, other):
        self.relationships.append({"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other})

    def add_package(self, path, kinds, contents):
        """One of our packages, and its contents: names in it to where the files lie."""
        entry = package_entry(path.name, self.version, OWN_RIGHTS, supplier="Organization: Tarnwick Labs",
                              checksums=checksums(path), packageFileName=path.name)
        self.packages.append(entry)
        self.relate("SPDXRef-DOCUMENT", "DESCRIBES", entry["SPDXID"])
        for name, _, _, held_by in COMPONENTS:
            for kind in sorted(kinds & held_by.keys()):
                self.relate(entry["SPDXID"], held_by[kind], identifier("Package", name))
        for name, file in sorted(contents.items()):
            self.files.append({"SPDXID": identifier("File", path.name, hashlib.sha1(name.encode()).hexdigest()), "fileName": "./" + name,
                               "checksums": checksums(file), "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"})
            self.relate(entry["SPDXID"], "CONTAINS", self.files[-1]["SPDXID"])

    def text(self):
        epoch = int(os.environ["SOURCE_DATE_EPOCH"])
        created = datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
        digest = hashlib.sha256(json.dumps(self.packages).encode()).hexdigest()[:32]
        return json.dumps({
            "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": f"Brackenfold-{self.version}",
            "documentNamespace": f"http://www.tarnwick.example/brackenfold/spdx/{self.version}-{digest}",
            "creationInfo": {"created": created, "creators": ["Organization: Tarnwick Labs"]},
            "hasExtractedLicensingInfos": [{"licenseId": OWN_RIGHTS, "name": "All rights reserved",
                                            "extractedText": "All rights are the makers', Tarnwick Labs."}],
            "packages": self.packages, "files": self.files, "relationships": self.relationships}, indent=1, ensure_ascii=False)


def files_below(folder, prefix=""):
    return {prefix + path.relative_to(folder).as_posix(): path for path in folder.rglob("*") if path.is_file() and not path.is_symlink()}


def spdx(version, dist, work):
    document = Document(version)
    windows = files_below(work / f"windows/Brackenfold-{version}")
    document.add_package(dist / f"brackenfold_{version}_amd64.deb", {LINUX}, files_below(work / "deb/brackenfold/debian/brackenfold/usr", "usr/"))
    document.add_package(dist / f"Brackenfold-{version}-setup.exe", {WINDOWS, SETUP}, windows)
    document.add_package(dist / f"Brackenfold-{version}.zip", {WINDOWS},
                         {f"Brackenfold-{version}/{name}": path for name, path in windows.items()})
    print(document.text())


def main():
    if sys.argv[1] == "notices":
        notices()
    else:
        spdx(sys.argv[2], pathlib.Path(sys.argv[3]), pathlib.Path(sys.argv[4]))


if __name__ == "__main__":
    main()
