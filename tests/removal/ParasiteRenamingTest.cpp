#include <gtest/gtest.h>

#include <sstream>

#include "RemovalBench.h"
#include "removal/processes/CProcessManager.h"
#include "removal/processes/ParasiteFileName.h"

namespace bkfd {
namespace {

constexpr auto NT = WindowsFamily::NT;
constexpr auto W9x = WindowsFamily::Windows9x;

TEST(ParasiteFileName, IsMadeOfTheLastComponent) {
    struct Row {
        const char16_t* path;
        const char16_t* disabled;
    };
    const Row rows[] = {
        {u"c:\\windows\\system32\\abc.dll", u"c:\\windows\\system32\\parasite_abc.dll.parasite"},
        {u"abc.dll", u"parasite_abc.dll.parasite"},
        {u"c:\\x\\", u"c:\\x\\parasite_.parasite"},
        {u"", u"parasite_.parasite"},
    };
    for (const Row& row : rows) EXPECT_EQ(GetParasiteFileName(row.path), row.disabled);
}

// The lines of the log, as they are promised.

std::string Line(const std::string& operation, const std::string& message) {
    return "5 CProcessManager." + operation + ": " + message + '\n';
}

std::string Renamed(WindowsFamily family, const std::string& path, const std::string& sizeAndHash) {
    return Line(family == NT ? "RenameFileNT" : "RenameFile9x",
                "File renamed sucessfullly: '" + path + "', (" + sizeAndHash + ")");
}

std::string FailedNT(const std::string& path, const std::string& sizeAndHash,
                     const std::string& error, const std::string& encoded) {
    return Line("RenameFileNT",
                "Failed to rename file '" + path + "', (" + sizeAndHash + "). " + error) +
           Line("RenameParasiteFileNT", "Encoded file name: " + encoded);
}

std::string Failed9x(const std::string& path, const std::string& sizeAndHash,
                     const std::string& error, const std::string& encoded) {
    return Line("RenameFile9x",
                "Failed to rename file '" + path + "', (" + sizeAndHash + "). " + error) +
           Line("RenameFile9x", "Encoded file name: " + encoded);
}

std::string Ended(const char* id) {
    return Line("MyTerminateProcess",
                std::string("Process for file '") + id + "' terminated successfully. ");
}

std::string Waiting(int count) {
    return Line("RenameParasiteFilesEx", "FilesToPostDelete.Count=" + std::to_string(count));
}

constexpr char kNotFound[] = "The system cannot find the file specified.";
constexpr char kInUse[] =
    "The process cannot access the file because it is being used by another process.";
constexpr char kBadEncoded[] = "QwA6AFwAYQBcAGIAYQBkAC4AZABsAGwA";       // C:\a\bad.dll
constexpr char kShortEncoded[] = "QwA6AFwAYQA6AGIA";                     // C:\a:b
constexpr char kCyrillicEncoded[] = "QwA6AFwAYQBcADEEMAQ0BC4AZABsAGwA";  // C:\a\бад.dll

struct Row {
    const char* label;
    WindowsFamily family;
    void (*prepare)(MemoryMachine& machine);
    const char16_t* file;
    const char* filesLeft;
    const char* listed;  // the name on the list of removed files
    std::string log;
};

void AddBadFile(MemoryMachine& machine) {
    machine.AddFile(u"C:\\a\\bad.dll", "abc");
}

void HoldBadFile(MemoryMachine& machine) {
    AddBadFile(machine);
    machine.AddProcess({4, u"C:\\host.exe", {u"C:\\A\\BAD.DLL"}});
}

const Row kRows[] = {
    {"held by a process, which goes on running", NT, HoldBadFile, u"C:\\a\\bad.dll",
     "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     Renamed(NT, "C:\\a\\bad.dll", "3, 536871084") + Waiting(0)},
    {"read-only, hidden and system", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\bad.dll", "abc", 7); },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     Renamed(NT, "C:\\a\\bad.dll", "3, 536871084") + Waiting(0)},
    {"an earlier disabled file is replaced", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "earlier", FileAttribute::ReadOnly);
     },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     Renamed(NT, "C:\\a\\bad.dll", "3, 536871084") + Waiting(0)},
    {"a missing file leaves its disabled one alone", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "abc"); },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "",
     FailedNT("C:\\a\\bad.dll", "0, 0", kNotFound, kBadEncoded) + Waiting(1) +
         FailedNT("C:\\a\\bad.dll", "0, 0", kNotFound, kBadEncoded)},
    {"a stream goes with its file", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.AddFile(u"C:\\a\\bad.dll:x.dll", "stream");
     },
     u"C:\\a\\bad.dll:x.dll",
     "C:\\a\\parasite_bad.dll.parasite 3\nC:\\a\\parasite_bad.dll.parasite:x.dll 6\n",
     "C:\\a\\bad.dll",
     Line("RenameParasiteFile", "Converting filename 'C:\\a\\bad.dll:x.dll' -> 'C:\\a\\bad.dll'") +
         Renamed(NT, "C:\\a\\bad.dll", "3, 536871084") + Waiting(0)},
    {"a colon up to position 5 stays", NT, AddBadFile, u"C:\\a:b", "C:\\a\\bad.dll 3\n", "",
     FailedNT("C:\\a:b", "0, 0", kNotFound, kShortEncoded) + Waiting(1) +
         FailedNT("C:\\a:b", "0, 0", kNotFound, kShortEncoded)},
    {"no backslash: in the current folder", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\bad.dll", "abc"); }, u"bad.dll",
     "C:\\parasite_bad.dll.parasite 3\n", "bad.dll",
     Renamed(NT, "bad.dll", "3, 536871084") + Waiting(0)},
    {"locked until its holder has ended", NT,
     [](MemoryMachine& machine) {
         HoldBadFile(machine);
         machine.LockFile(u"C:\\a\\bad.dll");
     },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     FailedNT("C:\\a\\bad.dll", "3, 536871084", kInUse, kBadEncoded) + Waiting(1) + Ended("4") +
         Renamed(NT, "C:\\a\\bad.dll", "3, 536871084")},
    {"locked for good: two attempts, attributes gone", NT,
     [](MemoryMachine& machine) {
         machine.AddFile(u"C:\\a\\bad.dll", "abc", 7);
         machine.LockFile(u"C:\\a\\bad.dll");
     },
     u"C:\\a\\bad.dll", "C:\\a\\bad.dll 3 locked\n", "",
     FailedNT("C:\\a\\bad.dll", "3, 536871084", kInUse, kBadEncoded) + Waiting(1) +
         FailedNT("C:\\a\\bad.dll", "3, 536871084", kInUse, kBadEncoded)},
    {"a name outside the code page", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\бад.dll"); }, u"C:\\a\\бад.dll",
     "C:\\a\\parasite_бад.dll.parasite 0\n", "C:\\a\\бад.dll",
     Renamed(NT, "C:\\a\\бад.dll", "0, 0") + Waiting(0)},
    {"a list that refuses the name", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.DenyWrite(RegistryRoot::CurrentUser, u"Software\\Tarnwick Labs");
     },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "",
     Renamed(NT, "C:\\a\\bad.dll", "3, 536871084") +
         "0 CProcessManager.RenameParasiteFile: Cannot note 'C:\\a\\bad.dll' in the list of "
         "removed "
         "files. Access is denied.\n" +
         Waiting(0)},
    {"held by a process, which has to end", W9x, HoldBadFile, u"C:\\a\\bad.dll",
     "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     Failed9x("C:\\a\\bad.dll", "3, 536871084", std::string(kInUse) + "(32)", kBadEncoded) +
         Waiting(1) + Ended("4") + Renamed(W9x, "C:\\a\\bad.dll", "3, 536871084")},
    {"read-only, and a read-only target", W9x,
     [](MemoryMachine& machine) {
         machine.AddFile(u"C:\\a\\bad.dll", "abc", FileAttribute::ReadOnly);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "old", FileAttribute::ReadOnly);
     },
     u"C:\\a\\bad.dll", "C:\\a\\parasite_bad.dll.parasite 3\n", "C:\\a\\bad.dll",
     Renamed(W9x, "C:\\a\\bad.dll", "3, 536871084") + Waiting(0)},
    {"a name outside the code page can't be reached", W9x,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\бад.dll", "", 3); }, u"C:\\a\\бад.dll",
     "C:\\a\\бад.dll 0 attributes 3\n", "",
     Failed9x("C:\\a\\бад.dll", "0, 0",
              "The filename, directory name, or volume label syntax is incorrect.(123)",
              kCyrillicEncoded) +
         Waiting(1) +
         Failed9x("C:\\a\\бад.dll", "0, 0",
                  "The filename, directory name, or volume label syntax is incorrect.(123)",
                  kCyrillicEncoded)},
};

/// Without the folders, which every machine has.
std::string FilesOf(const MemoryMachine& machine) {
    std::istringstream lines(machine.DumpFiles());
    std::string text;
    for (std::string line; std::getline(lines, line);)
        if (line.find(" folder") == std::string::npos) text += line + "\n";
    return text;
}

/// The values of the list of removed files; a note that went again leaves the key.
std::string ListOf(const MemoryMachine& machine) {
    const std::string dump = machine.DumpRegistry();
    const std::size_t values = dump.find("\n  ");
    return values == std::string::npos ? "" : dump.substr(values + 3);
}

TEST(ParasiteRenaming, DisablesNotesAndLogs) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(std::string(row.label) + (row.family == NT ? ", NT" : ", 9x"));
        RemovalBench bench(row.family);
        row.prepare(bench.machine);
        CProcessManager manager;
        manager.Init(bench.log);
        manager.RenameParasiteFileEx(row.file);
        EXPECT_EQ(FilesOf(bench.machine), row.filesLeft);
        const std::string listed(row.listed);
        EXPECT_EQ(ListOf(bench.machine), listed.empty() ? "" : listed + " = \"" + listed + "\"\n");
        EXPECT_EQ(bench.log->text, row.log);
    }
}

TEST(ParasiteRenaming, FailedFileEndsTheHoldersOfAllAndWaitsTwoSeconds) {
    RemovalBench bench(W9x);
    bench.machine.AddFile(u"C:\\free.dll");
    bench.machine.AddFile(u"C:\\held.dll");
    // The copy of a file that could be renamed goes on running; it could restore the other one.
    bench.machine.AddProcess({4, u"C:\\a.exe", {u"C:\\held.dll"}});
    bench.machine.AddProcess({8, u"C:\\b.exe", {u"C:\\gone.dll"}});
    bench.machine.AddProcess({12, u"C:\\self.exe", {u"C:\\held.dll"}, false, true});
    KeyedList files;
    for (const char16_t* file : {u"C:\\free.dll", u"C:\\gone.dll", u"C:\\held.dll"})
        files.Add(file, file);
    const Date before = bench.machine.System().GetLocalTime();
    std::string atFirstPump;
    bench.toolkit.onPump = [&] {
        if (atFirstPump.empty()) atFirstPump = bench.machine.DumpProcesses();
        bench.machine.AdvanceClock(100);
    };
    CProcessManager manager;
    manager.Init(bench.log);

    manager.RenameParasiteFilesEx(files);

    EXPECT_EQ(atFirstPump, "process 12 C:\\self.exe self\n  C:\\held.dll\n");
    EXPECT_GE(bench.machine.System().GetLocalTime(), AddSeconds(before, 2));
    EXPECT_LT(bench.machine.System().GetLocalTime(), AddSeconds(before, 3));
    EXPECT_EQ(FilesOf(bench.machine), "C:\\held.dll 0\nC:\\parasite_free.dll.parasite 0\n");
}

TEST(ParasiteRenaming, RenamesBack) {
    RemovalBench bench;
    AddBadFile(bench.machine);
    CProcessManager manager;
    manager.Init(bench.log);
    manager.RenameParasiteFileEx(u"C:\\a\\bad.dll");
    bool ok = false;
    manager.SafeRenameFile(GetParasiteFileName(u"C:\\a\\bad.dll"), u"C:\\a\\bad.dll", ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(FilesOf(bench.machine), "C:\\a\\bad.dll 3\n");
}

}  // namespace
}  // namespace bkfd
