#include "support/ArchiveBench.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bkfd::ArchiveBench {
namespace {

/// A folder on the host that goes with the object.
class HostFolder {
  public:
    HostFolder() {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
    }
    ~HostFolder() { std::filesystem::remove_all(path_); }
    HostFolder(const HostFolder&) = delete;
    HostFolder& operator=(const HostFolder&) = delete;
    const std::string& Path() const { return path_; }

  private:
    std::string path_ = std::filesystem::temp_directory_path() / "archive-test-XXXXXX";
};

void NameArchive(std::string& command, const std::string& file) {
    for (std::size_t at; (at = command.find('%')) != std::string::npos;) {
        command.replace(at, 1, file);
    }
}

}  // namespace

std::string Inspect(const MemoryMachine& machine, std::string command) {
    const HostFolder folder;
    const std::string file = folder.Path() + "/a.zip";
    const Bytes archive = machine.FileContent(u"C:\\out\\a.zip");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(archive.data()),
               static_cast<std::streamsize>(archive.size()));
    NameArchive(command, file);
    std::string output;
    FILE* pipe = popen(("export LC_ALL=C.UTF-8; (" + command + ") 2>&1").c_str(), "r");
    for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    if (pclose(pipe) != 0) output += "FAILED\n";
    return output;
}

Bytes MadeByZip(std::string command) {
    const HostFolder folder;
    const std::string archive = folder.Path() + "/made.zip";
    NameArchive(command, archive);
    command = "cd " + folder.Path() +
              " && for f in a b c; do printf $f >$f.txt; touch -d 2001-01-01 " +
              "$f.txt; done && (" + command + ") >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    std::ifstream file(archive, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Names(const MemoryMachine& machine) {
    const std::string tested =
        Inspect(machine, "unzip -P s3cret -tq % >/dev/null && 7z t -bd -ps3cret % >/dev/null");
    return tested + Inspect(machine,
                            "python3 -c 'import sys, zipfile; "
                            "print(*zipfile.ZipFile(sys.argv[1]).namelist(), sep=\"\\n\")' %");
}

void AddFiles(MemoryMachine& machine) {
    machine.AddFolder(u"C:\\out");
    machine.AddFile(u"C:\\in\\a.txt", "alpha\r\nbeta\n");
    machine.AddFile(u"C:\\in\\empty.dat", "");
    machine.AddFile(u"C:\\in\\hidden.txt", "h", FileAttribute::Hidden);
    machine.AddFile(u"C:\\in\\sub\\b.txt", "two");
    machine.AddFile(u"C:\\in\\sub\\deep\\c.txt", "three");
    machine.AddFile(u"C:\\in\\sub\\\u043F.txt", "four");
}

}  // namespace bkfd::ArchiveBench
