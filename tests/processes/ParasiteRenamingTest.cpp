#include <gtest/gtest.h>

#include <sstream>

#include "common/RemovalFixture.h"
#include "platform/RootNames.h"
#include "processes/CProcessManager.h"
#include "processes/ParasiteFileName.h"

namespace bkfd {
namespace {

constexpr auto NT = WindowsFamily::NT;
constexpr auto W9x = WindowsFamily::Windows9x;

TEST(ParasiteFileName, IsMadeOfTheLastComponent) {
    EXPECT_EQ(GetParasiteFileName(u"c:\\x.y\\abc.dll"), u"c:\\x.y\\parasite_abc.dll.parasite");
    EXPECT_EQ(GetParasiteFileName(u"abc.dll"), u"parasite_abc.dll.parasite");
    EXPECT_EQ(GetParasiteFileName(u"c:\\x\\"), u"c:\\x\\parasite_.parasite");
    EXPECT_EQ(GetParasiteFileName(u""), u"parasite_.parasite");
}

// The lines of the log, as they are promised.

std::string Line(const std::string& operation, const std::string& message) {
    return "5 CProcessManager." + operation + ": " + message + '\n';
}

std::string Renamed(WindowsFamily family, const std::string& path, const std::string& sizeAndHash) {
    return Line(family == NT ? "RenameFileNT" : "RenameFile9x",
                "File renamed sucessfullly: '" + path + "', (" + sizeAndHash + ")");
}

std::string Failed(WindowsFamily family, const std::string& path, const std::string& sizeAndHash,
                   const std::string& error, const std::string& encoded) {
    const std::string rename = family == NT ? "RenameFileNT" : "RenameFile9x";
    return Line(rename, "Failed to rename file '" + path + "', (" + sizeAndHash + "). " + error) +
           Line(family == NT ? "RenameParasiteFileNT" : rename, "Encoded file name: " + encoded);
}

std::string Ended(int id) {
    return Line("MyTerminateProcess",
                "Process for file '" + std::to_string(id) + "' terminated successfully. ");
}

std::string Waiting(int count) {
    return Line("RenameParasiteFilesEx", "FilesToPostDelete.Count=" + std::to_string(count));
}

constexpr char kNotFound[] = "The system cannot find the file specified.";
constexpr char kBadName[] =
    "The filename, directory name, or volume label syntax is incorrect.(123)";
const std::string kInUse =
    "The process cannot access the file because it is being used by another process.";

// The file of most cases, "abc" in it, and the lines about it.
constexpr char16_t kBad[] = u"C:\\a\\bad.dll";
constexpr char kDisabledBad[] = "C:\\a\\parasite_bad.dll.parasite 3\n";

std::string BadRenamed(WindowsFamily family) {
    return Renamed(family, "C:\\a\\bad.dll", "3, 536871084");
}
std::string BadFailed(WindowsFamily family, const std::string& error,
                      const std::string& sizeAndHash = "3, 536871084") {
    return Failed(family, "C:\\a\\bad.dll", sizeAndHash, error, "QwA6AFwAYQBcAGIAYQBkAC4AZABsAGwA");
}

void AddBadFile(MemoryMachine& machine) {
    machine.AddFile(kBad, "abc");
}

void HoldBadFile(MemoryMachine& machine) {
    AddBadFile(machine);
    machine.AddProcess({4, u"C:\\host.exe", {u"C:\\A\\BAD.DLL"}});
}

struct Row {
    const char* label;
    WindowsFamily family;
    void (*prepare)(MemoryMachine& machine);
    std::string log;
    const char* filesLeft = kDisabledBad;
    const char16_t* listed = kBad;  // the name on the list of removed files
    const char16_t* file = kBad;
};

const Row kRows[] = {
    {"held by a process, which goes on running", NT, HoldBadFile, BadRenamed(NT) + Waiting(0)},
    {"read-only, hidden and system", NT,
     [](MemoryMachine& machine) { machine.AddFile(kBad, "abc", 7); }, BadRenamed(NT) + Waiting(0)},
    {"an earlier disabled file is replaced", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "earlier", FileAttribute::ReadOnly);
     },
     BadRenamed(NT) + Waiting(0)},
    {"locked for good: an earlier disabled file stays as it is", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.LockFile(kBad);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "earlier", 3);
     },
     BadFailed(NT, kInUse) + Waiting(1) + BadFailed(NT, kInUse),
     "C:\\a\\bad.dll 3 locked\nC:\\a\\parasite_bad.dll.parasite 7 attributes 3\n", u""},
    {"what a crash left aside counts as the earlier disabled file", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite.bkfd-aside", "earlier");
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite.bkfd-aside2", "later");
     },
     BadRenamed(NT) + Waiting(0)},
    {"a missing file leaves its disabled one alone", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "abc"); },
     BadFailed(NT, kNotFound, "0, 0") + Waiting(1) + BadFailed(NT, kNotFound, "0, 0"), kDisabledBad,
     u""},
    {"a folder is no parasite, whatever names it", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\bad.dll\\all.exe"); },
     BadFailed(NT, "Access is denied.", "0, 0") + Waiting(1) +
         BadFailed(NT, "Access is denied.", "0, 0"),
     "C:\\a\\bad.dll\\all.exe 0\n", u""},
    {"a stream goes with its file", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.AddFile(u"C:\\a\\bad.dll:x.dll", "stream");
     },
     Line("RenameParasiteFile", "Converting filename 'C:\\a\\bad.dll:x.dll' -> 'C:\\a\\bad.dll'") +
         BadRenamed(NT) + Waiting(0),
     "C:\\a\\parasite_bad.dll.parasite 3\nC:\\a\\parasite_bad.dll.parasite:x.dll 6\n", kBad,
     u"C:\\a\\bad.dll:x.dll"},
    {"a colon up to position 5 stays", NT, AddBadFile,
     Failed(NT, "C:\\a:b", "0, 0", kNotFound, "QwA6AFwAYQA6AGIA") + Waiting(1) +
         Failed(NT, "C:\\a:b", "0, 0", kNotFound, "QwA6AFwAYQA6AGIA"),
     "C:\\a\\bad.dll 3\n", u"", u"C:\\a:b"},
    {"no backslash: in the current folder", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\bad.dll", "abc"); },
     Renamed(NT, "bad.dll", "3, 536871084") + Waiting(0), "C:\\parasite_bad.dll.parasite 3\n",
     u"bad.dll", u"bad.dll"},
    {"locked until its holder has ended", NT,
     [](MemoryMachine& machine) {
         HoldBadFile(machine);
         machine.LockFile(kBad);
     },
     BadFailed(NT, kInUse) + Waiting(1) + Ended(4) + BadRenamed(NT)},
    {"locked for good: two attempts, attributes gone", NT,
     [](MemoryMachine& machine) {
         machine.AddFile(kBad, "abc", 7);
         machine.LockFile(kBad);
     },
     BadFailed(NT, kInUse) + Waiting(1) + BadFailed(NT, kInUse), "C:\\a\\bad.dll 3 locked\n", u""},
    {"a name outside the code page", NT,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\бад.dll"); },
     Renamed(NT, "C:\\a\\бад.dll", "0, 0") + Waiting(0), "C:\\a\\parasite_бад.dll.parasite 0\n",
     u"C:\\a\\бад.dll", u"C:\\a\\бад.dll"},
    {"a list that refuses the name", NT,
     [](MemoryMachine& machine) {
         AddBadFile(machine);
         machine.DenyWrite(HKCU, u"Software\\Tarnwick Labs");
     },
     BadRenamed(NT) +
         "0 CProcessManager.RenameParasiteFile: Cannot note 'C:\\a\\bad.dll' in the list of "
         "removed files. Access is denied.\n" +
         Waiting(0),
     kDisabledBad, u""},
    {"held by a process, which has to end", W9x, HoldBadFile,
     BadFailed(W9x, kInUse + "(32)") + Waiting(1) + Ended(4) + BadRenamed(W9x)},
    {"read-only, and a read-only target", W9x,
     [](MemoryMachine& machine) {
         machine.AddFile(kBad, "abc", FileAttribute::ReadOnly);
         machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "old", FileAttribute::ReadOnly);
     },
     BadRenamed(W9x) + Waiting(0)},
    {"a name outside the code page can't be reached", W9x,
     [](MemoryMachine& machine) { machine.AddFile(u"C:\\a\\бад.dll", "", 3); },
     Failed(W9x, "C:\\a\\бад.dll", "0, 0", kBadName, "QwA6AFwAYQBcADEEMAQ0BC4AZABsAGwA") +
         Waiting(1) +
         Failed(W9x, "C:\\a\\бад.dll", "0, 0", kBadName, "QwA6AFwAYQBcADEEMAQ0BC4AZABsAGwA"),
     "C:\\a\\бад.dll 0 attributes 3\n", u"", u"C:\\a\\бад.dll"},
};

/// Without the folders, which every machine has.
std::string FilesOf(const MemoryMachine& machine) {
    std::istringstream lines(DumpFiles(machine));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.find(" folder") == std::string::npos) text += line + "\n";
    }
    return text;
}

/// The values of the list of removed files; a note that went again leaves the key.
std::string ListOf(const MemoryMachine& machine) {
    const std::string dump = DumpRegistry(machine);
    const std::size_t values = dump.find("\n  ");
    return values == std::string::npos ? "" : dump.substr(values + 3);
}

TEST(ParasiteRenaming, DisablesNotesAndLogs) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(std::string(row.label) + (row.family == NT ? ", NT" : ", 9x"));
        RemovalFixture fixture(row.family);
        row.prepare(fixture.machine);
        CProcessManager manager;
        manager.Init(fixture.log);
        manager.RenameParasiteFileEx(row.file);
        EXPECT_EQ(FilesOf(fixture.machine), row.filesLeft);
        const std::string listed = ToUtf8(row.listed);
        EXPECT_EQ(ListOf(fixture.machine),
                  listed.empty() ? "" : listed + " = \"" + listed + "\"\n");
        EXPECT_EQ(fixture.log->text, row.log);
    }
}

TEST(ParasiteRenaming, ARestoreThatFailsKeepsTheNewerFile) {
    for (const WindowsFamily family : {NT, W9x}) {
        RemovalFixture fixture(family);
        fixture.machine.AddFile(u"C:\\a\\parasite_bad.dll.parasite", "disabled");
        fixture.machine.LockFile(u"C:\\a\\parasite_bad.dll.parasite");
        fixture.machine.AddFile(kBad, "newer");
        CProcessManager manager;
        manager.Init(fixture.log);
        bool ok = true;
        const auto restore = [&] {
            manager.SafeRenameFile(u"C:\\a\\parasite_bad.dll.parasite", kBad, ok);
            return FilesOf(fixture.machine);
        };
        EXPECT_EQ(restore(), "C:\\a\\bad.dll 5\nC:\\a\\parasite_bad.dll.parasite 8 locked\n");
        EXPECT_FALSE(ok);
        fixture.machine.UnlockFile(u"C:\\a\\parasite_bad.dll.parasite");
        EXPECT_EQ(restore(), "C:\\a\\bad.dll 8\n");
        EXPECT_TRUE(ok);
    }
}

TEST(ParasiteRenaming, FailedFileEndsTheHoldersOfAllAndWaitsTwoSeconds) {
    RemovalFixture fixture(W9x);
    fixture.machine.AddFile(u"C:\\free.dll");
    fixture.machine.AddFile(u"C:\\held.dll");
    // The copy of a file that could be renamed goes on running; it could restore the other one.
    fixture.machine.AddProcess({4, u"C:\\a.exe", {u"C:\\held.dll"}});
    fixture.machine.AddProcess({8, u"C:\\b.exe", {u"C:\\gone.dll"}});
    fixture.machine.AddProcess({12, u"C:\\self.exe", {u"C:\\held.dll"}, false, true});
    KeyedList files;
    for (const char16_t* file : {u"C:\\free.dll", u"C:\\gone.dll", u"C:\\held.dll"}) {
        files.Add(file, file);
    }
    const Date before = fixture.machine.System().GetLocalTime();
    std::string atFirstPump;
    fixture.toolkit.onPump = [&] {
        if (atFirstPump.empty()) atFirstPump = DumpProcesses(fixture.machine);
        fixture.machine.AdvanceClock(100);
    };
    CProcessManager manager;
    manager.Init(fixture.log);

    manager.RenameParasiteFilesEx(files);

    EXPECT_EQ(atFirstPump, "process 12 C:\\self.exe self\n  C:\\held.dll\n");
    EXPECT_GE(fixture.machine.System().GetLocalTime(), AddSeconds(before, 2));
    EXPECT_LT(fixture.machine.System().GetLocalTime(), AddSeconds(before, 3));
    EXPECT_EQ(FilesOf(fixture.machine), "C:\\held.dll 0\nC:\\parasite_free.dll.parasite 0\n");
}

}  // namespace
}  // namespace bkfd
