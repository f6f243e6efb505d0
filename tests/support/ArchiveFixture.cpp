#include "support/ArchiveFixture.h"

#include <gtest/gtest.h>

#include "common/HostFolder.h"

namespace bkfd {
namespace {

void NameArchive(std::string& command, const std::string& file) {
    for (std::size_t at; (at = command.find('%')) != std::string::npos;) {
        command.replace(at, 1, file);
    }
}

}  // namespace

Bytes MadeByZip(std::string command) {
    const HostFolder folder;
    NameArchive(command, folder.Path("made.zip"));
    command = "cd " + folder.Path() +
              " && for f in a b c; do printf $f >$f.txt; touch -d 2001-01-01 " +
              "$f.txt; done && (" + command + ") >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    const std::string made = folder.Read("made.zip");
    return {made.begin(), made.end()};
}

ArchiveFixture::ArchiveFixture() {
    machine.AddFolder(u"C:\\out");
    machine.AddFile(u"C:\\in\\a.txt", "alpha\r\nbeta\n");
    machine.AddFile(u"C:\\in\\empty.dat", "");
    machine.AddFile(u"C:\\in\\hidden.txt", "h", FileAttribute::Hidden);
    machine.AddFile(u"C:\\in\\sub\\b.txt", "two");
    machine.AddFile(u"C:\\in\\sub\\deep\\c.txt", std::string(300'000, 'x'));
    machine.AddFile(u"C:\\in\\sub\\\u043F.txt", "four");
    zip.SetZipFile(Text(kArchive));
}

void ArchiveFixture::Zip(const std::vector<TextView>& specs) {
    zip.ClearFileSpecs();
    for (const TextView spec : specs) zip.AddFileSpec(Text(spec));
    zip.Zip();
}

std::string ArchiveFixture::Inspect(std::string command) const {
    const HostFolder folder;
    const Bytes archive = machine.FileContent(kArchive);
    folder.Write("a.zip", {archive.begin(), archive.end()});
    NameArchive(command, folder.Path("a.zip"));
    std::string output;
    FILE* pipe = popen(("export LC_ALL=C.UTF-8; (" + command + ") 2>&1").c_str(), "r");
    for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    if (pclose(pipe) != 0) output += "FAILED\n";
    return output;
}

std::string ArchiveFixture::Names() const {
    return Inspect("unzip -P s3cret -tq % >/dev/null && 7z t -bd -ps3cret % >/dev/null") +
           Inspect(
               "python3 -c 'import sys, zipfile; "
               "print(*zipfile.ZipFile(sys.argv[1]).namelist(), sep=\"\\n\")' %");
}

}  // namespace bkfd
