#include <gmock/gmock.h>

#include <algorithm>

#include "cli/CliFixture.h"
#include "platform/RegistryValues.h"
#include "platform/image/MachineImage.h"
#include "processes/RemovedFiles.h"

// Commands that change the machine.
namespace bkfd {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The numbers of the suspicious ones, each with a blank.
std::string Suspects(const CliRun& run) {
    std::string numbers;
    const auto document = run.Document();
    for (const auto& setting : document["items"]) {
        if (setting["status"] == "i") numbers += setting["number"].dump() + " ";
    }
    return numbers;
}

TEST(Settings, AreJudgedAndRestored) {
    const struct {
        const char* machine;
        const char* suspects;
    } rows[] = {{"clean-xp", ""},
                {"hijacked-xp", "1 2 4 6 7 8 9 10 11 12 17 18 22 25 26 "},
                {"hijacked-98", "4 6 10 12 "}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const MachineCopy machine(row.machine);
        const CliRun list = RunOn(machine, {"--json", "settings"});
        EXPECT_EQ(list.code, 0) << list.err;
        EXPECT_EQ(list.Document()["items"].size(), 26U);
        EXPECT_EQ(Suspects(list), row.suspects);

        const CliRun restored = RunOn(machine, {"--json", "settings", "--restore", "--yes"});
        EXPECT_EQ(restored.code, 0) << restored.err;
        EXPECT_EQ(Suspects(restored), "");
        EXPECT_EQ(RunOn(machine, {"--json", "settings"}).out, restored.out) << "it lasts";
    }
}

TEST(Settings, AreSafeInTheJournalWhenTheImageCantBeWritten) {
    const MachineCopy machine("hijacked-xp");
    const std::string inTheWay = machine.Path("registry/30-browser.reg.bkfd-new");
    std::filesystem::create_directory(inTheWay);
    const CliRun restored = RunOn(machine, {"--json", "settings", "--restore", "--yes"});
    EXPECT_EQ(restored.code, 0) << restored.err;
    EXPECT_THAT(restored.err, HasSubstr("registry.journal keeps the changes: "));
    EXPECT_EQ(RunOn(machine, {"--json", "settings"}).out, restored.out);
    std::filesystem::remove(inTheWay);
    const CliRun folded = RunOn(machine, {"--json", "settings"});
    EXPECT_EQ(folded.out, restored.out);
    EXPECT_EQ(folded.err, "");
    EXPECT_FALSE(machine.Has("registry.journal"));
}

TEST(Consent, NothingChangesWithoutIt) {
    const char* const file = "C:\\WINDOWS\\system32\\hpjk.dll";
    const char* const encoded =
        "QwA6AFwAVwBJAE4ARABPAFcAUwBcAHMAeQBzAHQAZQBtADMAMgBcAGgAcABqAGsALgBkAGwAbAA=";
    const struct {
        Strings arguments;
        const char* input;
        int code = 2;
        const char* message = "nothing was changed";
    } rows[] = {
        {{"settings", "--restore"}, "c"},
        {{"settings", "--restore"}, ""},
        {{"--json", "settings", "--restore"}, "o"},
        {{"clean"}, "c"},
        {{"clean"}, ""},
        {{"--json", "clean"}, "o"},
        {{"clean", "--dry-run"}, "", 0, ""},
        {{"disable", file}, "c"},
        {{"disable", file}, ""},
        {{"--json", "disable", file}, "o"},
        {{"disable", file, "x.dll"}, "oc"},
        {{"disable", "x.dll", "y.dll", "--yes"},
         "",
         2,
         "brackenfold: nothing was changed, since there is no file x.dll, nor y.dll\n"},
        {{"disable"}, "", 2, "FILE is required"},
        {{"disable", encoded, "--dry-run"}, "", 0, "restart Windows"},
    };
    const MachineCopy machine("hijacked-xp");
    const auto before = machine.Snapshot();
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments) + row.input);
        const CliRun run = RunOn(machine, row.arguments, row.input);
        EXPECT_EQ(run.code, row.code);
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_TRUE(row.arguments[0] != "--json" || nlohmann::json::accept(run.out)) << run.out;
        EXPECT_EQ(machine.Snapshot(), before);
    }
    EXPECT_EQ(RunOn(machine, {"settings", "--restore"}, "o").code, 0);
    EXPECT_NE(machine.Read("registry/30-browser.reg"), before.at("registry/30-browser.reg"));
}

/// What the backups hold.
Strings Backups(const MachineCopy& machine) {
    Strings backups;
    for (const auto& [name, content] : machine.Snapshot()) {
        if (name.find("/Backup/") != std::string::npos) backups.push_back(content);
    }
    return backups;
}

TEST(Backup, ComesBeforeEveryChange) {
    for (const Strings& command : {Strings{"clean", "--yes"},
                                   {"settings", "--restore", "--yes"},
                                   {"disable", "C:\\WINDOWS\\system32\\hpjk.dll", "--yes"}}) {
        SCOPED_TRACE(command[0]);
        const MachineCopy asBefore("hijacked-xp");
        const MachineCopy machine("hijacked-xp");
        EXPECT_EQ(RunOn(asBefore, {"backup"}).code, 0);
        EXPECT_EQ(RunOn(machine, command).code, 0);
        EXPECT_EQ(Backups(machine), Backups(asBefore));
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
    EXPECT_NE(RunOn(machine, {"--json", "backup"}).out, run.out) << "a file of its own";
}

TEST(Clean, DoesTheWorkAndTellsWhatReallyHappened) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunOn(machine, {"--json", "clean", "--yes"});
    EXPECT_EQ(run.code, 0) << run.err;
    const auto document = run.Document();

    // Ten of the eleven: one was gone before.
    EXPECT_EQ(document["removedFiles"].size(), 10U);
    for (const std::string& file : document["removedFiles"].get<Strings>()) {
        std::string disabled = file + ".parasite";
        disabled.insert(file.rfind('\\') + 1, "parasite_");
        EXPECT_EQ(RunOn(machine, {"identify", disabled}).code, 0) << disabled;
        EXPECT_EQ(RunOn(machine, {"identify", file}).code, 2) << file;
    }
    EXPECT_EQ(document["deletedBhos"].size(), 7U);
    EXPECT_EQ(RunOn(machine, {"--json", "bhos"}).Document()["items"].size(), 5U);
    // Only the name that the code page lacks loses its startup entry.
    EXPECT_EQ(document["deletedStartup"].dump(),
              R"([{"data":"C:\\WINDOWS\\system32\\обновление.exe",)"
              R"("key":"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",)"
              R"("valueName":"Update"}])");
    EXPECT_THAT(document["endedProcesses"].dump(), HasSubstr(R"("C:\\WINDOWS\\WINSRVHP.EXE")"));
    EXPECT_THAT(
        document["changedSettings"].dump(),
        HasSubstr(R"({"after":"about:blank","before":"res://hpjk.dll/sp.html#29126",)"
                  R"("key":"HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main",)"
                  R"("valueName":"Start Page"})"));
    EXPECT_THAT(
        document["changes"].dump(),
        HasSubstr(R"({"after":"about:blank","before":"res://hpjk.dll/sp.html#29126","done":true,)"
                  R"("kind":"value","place":"HKEY_CURRENT_USER\\Software\\Microsoft\\)"
                  R"(Internet Explorer\\Main\\Start Page"})"));
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
    const std::string failed = run.Document()["failed"].dump();
    EXPECT_THAT(run.Document()["changes"].dump(),
                HasSubstr(R"({"after":null,"before":null,"done":false,"kind":"restart",)"));
    EXPECT_THAT(failed, HasSubstr(R"("C:\\WINDOWS\\SYSTEM\\NOBODY.DLL")")) << "locked for ever";
    EXPECT_THAT(failed, HasSubstr(R"("kind":"restart")"));
    EXPECT_THAT(failed, HasSubstr(R"("C:\\WINDOWS\\SYSTEM\\жук.dll")"));
    EXPECT_THAT(failed, Not(HasSubstr("?"))) << "the name that was asked for in its stead";
    // Locked until its holders ended, it failed at first.
    EXPECT_THAT(failed, Not(HasSubstr("MSXMIDI.DLL")));
    EXPECT_THAT(run.Document()["removedFiles"].get<Strings>(),
                Contains("C:\\WINDOWS\\SYSTEM\\MSXMIDI.DLL"));
}

TEST(Clean, ListsAsFailedWhatKeepsItsName) {
    const MachineCopy machine("hijacked-xp");
    // The colon of such a name counts as the one of a stream, so that another name is moved.
    machine.Write("drives/c/WINDOWS/evil32.exe", machine.Read("drives/c/WINDOWS/winsrvhp.exe"));
    machine.Edit([](auto& facts) {
        facts["processes"].push_back({{"id", 4000}, {"path", "\\??\\C:\\WINDOWS\\evil32.exe"}});
    });
    // A blank behind the backslash ends this name at the folder.
    const std::string clsid = "{B0000000-0000-4000-8000-000000000001}";
    machine.Write("registry/90-folder.reg",
                  "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\"
                  "CurrentVersion\\Explorer\\Browser Helper Objects\\" +
                      clsid + "]\r\n\r\n[HKEY_CLASSES_ROOT\\CLSID\\" + clsid +
                      "\\InProcServer32]\r\n@=\"C:\\\\Program Files\\\\ a.dll\"\r\n");
    EXPECT_THAT(RunOn(machine, {"scan"}).out, HasSubstr("file   is a folder\n"));
    for (const char* mode : {"--dry-run", "--yes"}) {
        const CliRun run = RunOn(machine, {"--json", "clean", mode});
        EXPECT_EQ(run.code, 2);
        ASSERT_EQ(run.Document()["failed"].size(), 2U) << run.out;
        EXPECT_EQ(run.Document()["failed"][0]["name"], "C:\\Program Files");
        EXPECT_EQ(run.Document()["failed"][1]["name"], "\\??\\c:\\windows\\evil32.exe");
    }
}

TEST(Clean, ADryRunTellsWhatACleanupDoes) {
    for (const char* name : {"hijacked-xp", "hijacked-98"}) {
        SCOPED_TRACE(name);
        const MachineCopy machine(name);
        const CliRun dry = RunOn(machine, {"--json", "clean", "--dry-run"});
        const CliRun wet = RunOn(machine, {"--json", "clean", "--yes"});
        auto told = dry.Document();
        EXPECT_EQ(told["record"], nullptr) << "there is nothing to take back";
        told["record"] = wet.Document()["record"];
        EXPECT_EQ(told, wet.Document());
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

TEST(Disable, TakesNamedFilesOutOfActionAndRestoreUndoesIt) {
    const std::string clock = "C:\\Program Files\\Tray Clock\\clock.exe";
    const std::string helper = "C:\\WINDOWS\\system32\\hpjk.dll";
    const MachineCopy machine("hijacked-xp");
    const std::string before = machine.Read("drives/c/WINDOWS/system32/hpjk.dll");
    const CliRun run = RunOn(machine, {"--json", "disable", clock, "hpjk.dll", "C:\\gone.exe",
                                       "c:\\windows\\SYSTEM32\\hpjk.dll", "--yes"});
    EXPECT_EQ(run.code, 2) << "one isn't there";
    const auto document = run.Document();
    EXPECT_THAT(document["removedFiles"].get<Strings>(), ElementsAre(clock, helper));
    ASSERT_EQ(document["failed"].size(), 1U);
    EXPECT_EQ(document["failed"][0]["name"], "C:\\gone.exe");
    EXPECT_EQ(document["failed"][0]["error"], "The system cannot find the file specified.");
    EXPECT_THAT(document["endedProcesses"].dump(), HasSubstr("clock.exe"));
    EXPECT_THAT(document["changedSettings"].dump(), HasSubstr(R"("after":"about:blank")"));
    EXPECT_THAT(document["deletedBhos"], IsEmpty());
    EXPECT_THAT(document["deletedStartup"], IsEmpty());

    EXPECT_THAT(RunOn(machine, {"--json", "restore"}).Document()["items"].get<Strings>(),
                ElementsAre(clock, helper));
    for (const std::string& file : {clock, helper}) {
        EXPECT_EQ(RunOn(machine, {"restore", file, "--yes"}).code, 0);
    }
    EXPECT_EQ(machine.Read("drives/c/WINDOWS/system32/hpjk.dll"), before);
    EXPECT_THAT(RunOn(machine, {"--json", "restore"}).Document()["items"], IsEmpty());
}

TEST(Disable, TellsWhatFailed) {
    const MachineCopy machine("hijacked-98");
    const CliRun run = RunOn(machine, {"disable", "C:\\WINDOWS\\SYSTEM\\NOBODY.DLL"}, "oc");
    EXPECT_EQ(run.code, 2) << run.err;
    EXPECT_THAT(run.out, HasSubstr("Disabled in part"));
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
    EXPECT_THAT(disabled.Document()["items"].get<Strings>(),
                Contains("C:\\WINDOWS\\system32\\hpjk.dll"));

    run = RunOn(machine, {"start"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.err, Not(HasSubstr("O = OK"))) << "nothing is left to ask";
}

TEST(Start, TellsWhatWouldComeUpOnWindows) {
    const MachineCopy machine("clean-xp");
    const CliRun run = RunOn(machine, {"start"},
                             "menu Restore...\nmenu Brackenfold Home Page\n"
                             "tab 2\ncontext\nproperties\nclose\n");
    EXPECT_EQ(run.code, 0) << run.err;
    for (const char* told : {"open C:\\Program Files\\Brackenfold\\Backup\\)\n",
                             "run explorer http://www.tarnwick.example/brackenfold/)\n",
                             "properties C:\\Program Files"}) {
        EXPECT_THAT(run.err, HasSubstr(std::string("  (on Windows: ") + told));
    }
}

TEST(Start, ACommandIsNoAnswer) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunOn(machine, {"start"}, "row 1\nc\nclose\n");
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 1) << "nothing was cleaned";
}

TEST(Start, RefusesToRunWithoutItsComponent) {
    const MachineCopy machine("hijacked-xp");
    machine.Edit([](auto& facts) { facts["components"] = {{"BKFDCustom.dll", false}}; });
    const CliRun run = RunOn(machine, {"start"});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.err, HasSubstr("Component 'BKFDCUSTOM.DLL' or one of its dependencies"));
}

TEST(Restore, GivesANameBack) {
    const MachineCopy machine("hijacked-xp");
    RunOn(machine, {"start", "--yes"});
    const char* const file = "c:\\windows\\system32\\HPJK.DLL";
    const std::string onDisk = "drives/c/WINDOWS/system32/hpjk.dll";
    const struct {
        const char* label;
        std::string file;
        const char* input;
        int code;
        bool isBack;
        const char* message;
    } rows[] = {
        {"not one of them", "C:\\WINDOWS\\explorer.exe", "o", 2, false, "no disabled file"},
        {"Cancel", file, "c", 2, false, "nothing was changed"},
        {"OK", file, "o", 0, true, "is restored successfully"},
        {"no more there", file, "o", 2, true, "no disabled file"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const CliRun run = RunOn(machine, {"restore", row.file}, row.input);
        EXPECT_EQ(run.code, row.code);
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_EQ(!machine.Read(onDisk).empty(), row.isBack);
    }
}

void NoteRemoved(const MachineCopy& machine, const Text& path) {
    auto loaded = LoadMachineImage(machine.Path());
    auto& image = std::get<std::unique_ptr<ImageMachine>>(loaded);
    EXPECT_TRUE(
        image->RegistryKeys()
            .RegSetValueExW(kRemovedFilesRoot, kRemovedFilesKey, path, MakeStringValue(path))
            .IsOk());
}

TEST(Restore, TakesANameAsItIsPrinted) {
    // A lone surrogate, of which this program and the host have other spellings.
    const char* const typed[] = {"C:\\WINDOWS\\a\xEF\xBF\xBD.exe", "C:\\WINDOWS\\a\xED\xA0\x80.exe",
                                 "C:\\WINDOWS\\a\\ud800.exe"};
    for (const char* name : typed) {
        SCOPED_TRACE(name);
        const MachineCopy machine("clean-xp");
        machine.Write("drives/c/WINDOWS/parasite_a\xED\xA0\x80.exe.parasite", "MZ");
        NoteRemoved(machine, u"C:\\WINDOWS\\a" + Text{0xD800} + u".exe");
        EXPECT_THAT(RunOn(machine, {"--json", "restore"}).out,
                    HasSubstr("[\n    \"C:\\\\WINDOWS\\\\a\\ud800.exe\"\n  ]\n"));
        const CliRun run = RunOn(machine, {"restore", name, "--yes"});
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(machine.Read("drives/c/WINDOWS/a\xED\xA0\x80.exe"), "MZ");
    }
}

}  // namespace
}  // namespace bkfd
