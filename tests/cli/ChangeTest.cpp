#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/CliBench.h"

// Commands that change the machine.
namespace bkfd {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Strings = std::vector<std::string>;

Strings Suspects(const nlohmann::json& settings) {
    Strings numbers;
    for (const auto& setting : settings) {
        if (setting["status"] == "i") numbers.push_back(setting["number"].dump());
    }
    return numbers;
}

CliRun RunOn(const MachineCopy& machine, std::vector<std::string> arguments,
             const std::string& input = {}) {
    arguments.insert(arguments.begin(), {"--machine", machine.Path()});
    return RunCli(arguments, input);
}

TEST(Settings, AreJudgedAndRestored) {
    const struct {
        const char* machine;
        Strings suspects;
    } rows[] = {
        {"clean-xp", {}},
        {"hijacked-xp",
         {"1", "2", "4", "6", "7", "8", "9", "10", "11", "12", "17", "18", "22", "25", "26"}},
        {"hijacked-98", {"4", "6", "10", "12"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const MachineCopy machine(row.machine);
        const CliRun list = RunOn(machine, {"--json", "settings"});
        EXPECT_EQ(list.code, 0) << list.err;
        EXPECT_EQ(list.Document().size(), 26U);
        EXPECT_EQ(Suspects(list.Document()), row.suspects);

        const CliRun restored = RunOn(machine, {"--json", "settings", "--restore", "--yes"});
        EXPECT_EQ(restored.code, 0) << restored.err;
        // The user's style sheet is overwritten with NULs, and any text of it is suspect.
        Strings left = Suspects(restored.Document());
        left.erase(std::remove(left.begin(), left.end(), "9"), left.end());
        EXPECT_THAT(left, IsEmpty());
        EXPECT_EQ(RunOn(machine, {"--json", "settings"}).out, restored.out) << "it lasts";
    }
}

TEST(Settings, AreRestoredOnlyOnOk) {
    const struct {
        const char* label;
        Strings arguments;
        const char* input;
        int code;
        bool changes;
    } rows[] = {
        {"OK", {"settings", "--restore"}, "o", 0, true},
        {"Cancel", {"settings", "--restore"}, "c", 2, false},
        {"nobody answers", {"settings", "--restore"}, "", 2, false},
        {"a document doesn't ask", {"--json", "settings", "--restore"}, "o", 2, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine("hijacked-xp");
        const auto registry = [&] { return machine.Read("registry/30-browser.reg"); };
        const std::string before = registry();
        const CliRun run = RunOn(machine, row.arguments, row.input);
        EXPECT_EQ(run.code, row.code);
        EXPECT_EQ(registry() != before, row.changes) << run.err;
    }
}

TEST(Backup, WritesAFileThatHoldsTheSettings) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunOn(machine, {"--json", "backup"});
    EXPECT_EQ(run.code, 0) << run.err;
    std::string file = run.Document()["file"];
    EXPECT_THAT(file, testing::StartsWith("C:\\Program Files\\Brackenfold\\Backup\\"));
    std::replace(file.begin(), file.end(), '\\', '/');
    std::string saved = machine.Read("drives/c" + file.substr(2));
    std::erase(saved, '\0');  // as good as UTF-16 to 8 bits for what is looked for
    EXPECT_NE(saved.find("Browser Helper Objects"), std::string::npos);
}

const nlohmann::json* FindNamed(const nlohmann::json& list, const char* member, const char* value) {
    for (const auto& object : list) {
        if (object[member] == value) return &object;
    }
    return nullptr;
}

TEST(Clean, DoesTheWorkAndTellsWhatReallyHappened) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunOn(machine, {"--json", "clean", "--yes"});
    EXPECT_EQ(run.code, 0) << run.err;
    const auto document = run.Document();

    // Ten of the eleven: one was gone before.
    EXPECT_EQ(document["removedFiles"].size(), 10U);
    for (const std::string& file : document["removedFiles"].get<Strings>()) {
        std::string disabled = file.substr(0, file.rfind('\\') + 1) + "parasite_" +
                               file.substr(file.rfind('\\') + 1) + ".parasite";
        const CliRun there = RunOn(machine, {"--json", "identify", disabled});
        EXPECT_EQ(there.code, 0) << disabled;
        EXPECT_EQ(RunOn(machine, {"--json", "identify", file}).code, 2) << file;
    }
    EXPECT_EQ(document["deletedBhos"].size(), 7U);
    EXPECT_EQ(RunOn(machine, {"--json", "bhos"}).Document().size(), 5U);
    // Only the name that the code page lacks loses its startup entry.
    EXPECT_EQ(document["deletedStartup"].dump(),
              R"([{"data":"C:\\WINDOWS\\system32\\обновление.exe",)"
              R"("key":"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",)"
              R"("valueName":"Update"}])");
    EXPECT_NE(FindNamed(document["endedProcesses"], "path", "C:\\WINDOWS\\WINSRVHP.EXE"), nullptr);
    EXPECT_EQ(
        FindNamed(document["endedProcesses"], "path", "C:\\Program Files\\Tray Clock\\clock.exe"),
        nullptr);
    const auto* page =
        FindNamed(document["changedSettings"], "before", "res://hpjk.dll/sp.html#29126");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ((*page)["valueName"], "Start Page");
    EXPECT_EQ((*page)["after"], "about:blank");
    EXPECT_THAT(document["failed"], IsEmpty());
    const CliRun scan = RunOn(machine, {"--json", "scan"});
    EXPECT_EQ(scan.code, 0);
    EXPECT_EQ(scan.Document()["unreadable"].size(), 3U) << "the system's processes came up again";
}

TEST(Clean, TellsWhatCouldNotBeDone) {
    const MachineCopy machine("hijacked-98");
    machine.Edit([](auto& facts) { facts["restart"] = "denied"; });
    const CliRun run = RunOn(machine, {"--json", "clean", "--yes"});
    EXPECT_EQ(run.code, 2);
    const auto failed = run.Document()["failed"];
    // Locked for ever, beyond the code page, and the restart.
    EXPECT_NE(FindNamed(failed, "name", "C:\\WINDOWS\\SYSTEM\\NOBODY.DLL"), nullptr);
    EXPECT_NE(FindNamed(failed, "kind", "restart"), nullptr);
    // Locked until its holders ended, it failed at first.
    EXPECT_EQ(FindNamed(failed, "name", "C:\\WINDOWS\\SYSTEM\\MSXMIDI.DLL"), nullptr);
    EXPECT_THAT(run.Document()["removedFiles"].get<Strings>(),
                Contains("C:\\WINDOWS\\SYSTEM\\MSXMIDI.DLL"));
}

TEST(Clean, ChangesNothingWithoutConsent) {
    const struct {
        const char* label;
        Strings arguments;
        const char* input;
        int code;
    } rows[] = {
        {"Cancel", {"clean"}, "c", 2},
        {"nobody answers", {"clean"}, "", 2},
        {"a document doesn't ask", {"--json", "clean"}, "o", 2},
        {"dry run", {"clean", "--dry-run"}, "", 0},
        {"dry run with a document", {"--json", "clean", "--dry-run"}, "", 0},
    };
    const auto registryAndFiles = [](const MachineCopy& machine) {
        auto files = machine.Snapshot();
        // The program's own logs tell of a cleanup that was asked for.
        std::erase_if(files, [](const auto& file) { return file.first.ends_with(".log"); });
        return files;
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine("hijacked-xp");
        const auto before = registryAndFiles(machine);
        const CliRun run = RunOn(machine, row.arguments, row.input);
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_EQ(registryAndFiles(machine), before);
    }
}

TEST(Clean, ADryRunTellsWhatACleanupDoes) {
    for (const char* name : {"hijacked-xp", "hijacked-98"}) {
        SCOPED_TRACE(name);
        const MachineCopy machine(name);
        const CliRun dry = RunOn(machine, {"--json", "clean", "--dry-run"});
        const CliRun wet = RunOn(machine, {"--json", "clean", "--yes"});
        EXPECT_EQ(dry.out, wet.out);
        EXPECT_EQ(dry.code, wet.code);
    }
}

TEST(Clean, ReadsWellOnATerminal) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunOn(machine, {"clean"}, "oc");
    EXPECT_EQ(run.code, 0);
    ExpectGolden("clean.txt", run.out, machine);
    ExpectGolden("clean-messages.txt", run.err, machine);
}

TEST(Start, OffersTheCleanupAndFinishesIt) {
    const MachineCopy machine("hijacked-xp");

    CliRun run = RunOn(machine, {"start"}, "c");
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("which can be deleted automatically"));
    EXPECT_THAT(run.err, HasSubstr("Step 2. Restore Configuration Settings")) << "the window came";
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 1) << "nothing was cleaned";
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("********** start app"));

    run = RunOn(machine, {"start", "--yes"});
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 0) << RunOn(machine, {"scan"}).out;

    const CliRun disabled = RunOn(machine, {"--json", "restore"});
    EXPECT_THAT(disabled.Document().get<Strings>(), Contains("C:\\WINDOWS\\system32\\hpjk.dll"));

    run = RunOn(machine, {"start"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.err, Not(HasSubstr("O = OK"))) << "nothing is left to ask";
}

TEST(Restore, GivesANameBack) {
    const MachineCopy machine("hijacked-xp");
    RunOn(machine, {"start", "--yes"});
    const std::string file = "c:\\windows\\system32\\HPJK.DLL";
    const std::string onDisk = "drives/c/WINDOWS/system32/hpjk.dll";
    const struct {
        const char* label;
        Strings arguments;
        const char* input;
        int code;
        bool isBack;
        const char* message;
    } rows[] = {
        {"not one of them",
         {"restore", "C:\\WINDOWS\\explorer.exe"},
         "o",
         2,
         false,
         "no disabled file"},
        {"Cancel", {"restore", file}, "c", 2, false, "nothing was changed"},
        {"OK", {"restore", file}, "o", 0, true, "is restored successfully"},
        {"no more there", {"restore", file}, "o", 2, true, "no disabled file"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const CliRun run = RunOn(machine, row.arguments, row.input);
        EXPECT_EQ(run.code, row.code);
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_EQ(!machine.Read(onDisk).empty(), row.isBack);
    }
}

}  // namespace
}  // namespace bkfd
