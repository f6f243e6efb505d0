#include <gmock/gmock.h>

#include "cli/CliFixture.h"
#include "cli/Command.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

const std::string kOther = "registry/90-other.reg";
const std::string kRecord = "drives/c/Program Files/Brackenfold/Undo/0001.undo";

/// The files of the drive but those of the program, with their content.
std::map<std::string, std::string> Drive(const HostFolder& machine) {
    auto files = machine.Snapshot();
    std::erase_if(files, [](const auto& file) {
        return !file.first.starts_with("drives/") ||
               file.first.find("Brackenfold/") != std::string::npos;
    });
    return files;
}

nlohmann::json Settings(const HostFolder& machine) {
    return RunOn(machine, {"settings", "--json"}).Document();
}

TEST(Undo, TakesACleanupBackAndDoesItAgain) {
    const MachineCopy machine("hijacked-xp");
    const auto files = Drive(machine);
    const auto settings = Settings(machine);
    const CliRun clean = RunOn(machine, {"clean", "--yes", "--json"});
    ASSERT_EQ(clean.code, ExitCode::Done) << clean.err;
    EXPECT_EQ(clean.Document()["record"], 1);
    const auto cleanFiles = Drive(machine);
    const auto cleanSettings = Settings(machine);
    EXPECT_NE(cleanFiles, files);

    const CliRun tried = RunOn(machine, {"undo", "last", "--dry-run"});
    EXPECT_EQ(tried.code, ExitCode::Done);
    EXPECT_THAT(tried.out, HasSubstr("Would be taken back"));
    EXPECT_EQ(RunOn(machine, {"undo", "1"}, "c\n").code, ExitCode::Failed);
    EXPECT_EQ(Drive(machine), cleanFiles);

    const CliRun undone = RunOn(machine, {"undo", "last", "--yes", "--json"});
    EXPECT_EQ(undone.code, ExitCode::Done) << undone.out;
    EXPECT_EQ(undone.Document()["record"], 2);
    EXPECT_TRUE(undone.Document()["failed"].empty());
    EXPECT_EQ(Drive(machine), files);
    EXPECT_EQ(Settings(machine), settings);
    EXPECT_EQ(RunOn(machine, {"undo", "last", "--yes"}).code, ExitCode::Failed);

    const auto items = RunOn(machine, {"undo", "--json"}).Document()["items"];
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0]["undoes"], 1);
    EXPECT_EQ(items[1]["operation"], "cleanup");
    EXPECT_EQ(items[1]["state"], "undone");

    EXPECT_EQ(RunOn(machine, {"undo", "2", "--yes"}).code, ExitCode::Done);
    EXPECT_EQ(Drive(machine), cleanFiles);
    EXPECT_EQ(Settings(machine), cleanSettings);
}

TEST(Undo, LeavesWhatSomethingElseChangedUnlessForced) {
    const MachineCopy machine("hijacked-xp");
    ASSERT_EQ(RunOn(machine, {"settings", "--restore", "--yes"}).code, ExitCode::Done);
    machine.Write(kOther,
                  "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\"
                  "Microsoft\\Internet Explorer\\Main]\r\n\"Start Page\"=\"theirs\"\r\n\r\n");
    const CliRun told = RunOn(machine, {"undo", "last", "--dry-run", "--json"});
    EXPECT_EQ(told.Document()["failed"][0]["error"], "the value was set to something else");
    const CliRun careful = RunOn(machine, {"undo", "last", "--yes"});
    EXPECT_EQ(careful.code, ExitCode::Incomplete);
    EXPECT_THAT(careful.out, HasSubstr("now:    \"theirs\""));
    const CliRun list = RunOn(machine, {"undo"});
    EXPECT_THAT(list.out, HasSubstr("partly undone"));
    EXPECT_EQ(RunOn(machine, {"undo", "1", "--yes", "--force"}).code, ExitCode::Done);
    EXPECT_THAT(Settings(machine).dump(), HasSubstr("sp.html"));
}

TEST(Undo, WritesForgetsAndRefusesRecords) {
    const MachineCopy machine("hijacked-xp");
    EXPECT_THAT(RunOn(machine, {"undo"}).err, HasSubstr("nothing to undo"));
    ASSERT_EQ(RunOn(machine, {"settings", "--restore", "--yes"}).code, ExitCode::Done);
    const HostFolder folder;
    const std::string file = folder.Path("before.reg");
    EXPECT_EQ(RunOn(machine, {"undo", "1", "--reg", file, "--json"}).Document()["file"], file);
    EXPECT_EQ(folder.Read("before.reg").substr(0, 4), std::string("\xFF\xFEW\0", 4));
    EXPECT_EQ(RunOn(machine, {"undo", "1", "--reg", file}).code, ExitCode::Failed);

    for (const char* wrong : {"7", "0", "first", "99999999999"}) {
        EXPECT_EQ(RunOn(machine, {"undo", wrong, "--yes"}).code, ExitCode::Failed) << wrong;
    }
    const std::string record = machine.Read(kRecord);
    machine.Write(kRecord, record.substr(0, 300) + "x" + record.substr(301));
    const CliRun damaged = RunOn(machine, {"undo", "1", "--yes"});
    EXPECT_EQ(damaged.code, ExitCode::Failed);
    EXPECT_EQ(RunOn(machine, {"undo", "--json"}).Document()["items"][0]["state"], "damaged record");
    EXPECT_EQ(damaged.err, "brackenfold: record 1 can't be used: damaged record\n");

    EXPECT_EQ(RunOn(machine, {"undo", "--forget", "1"}, "c\n").code, ExitCode::Failed);
    EXPECT_TRUE(machine.Has(kRecord));
    EXPECT_EQ(RunOn(machine, {"undo", "--forget", "1", "--yes", "--json"}).Document()["forgotten"],
              1);
    EXPECT_FALSE(machine.Has(kRecord));
}

TEST(Undo, ChangesNothingThatCannotBeKept) {
    const MachineCopy machine("hijacked-xp");
    machine.Write("drives/c/Program Files/Brackenfold/Undo", "a file where the folder belongs");
    const auto files = Drive(machine);
    const auto settings = Settings(machine);
    const CliRun run = RunOn(machine, {"clean", "--yes", "--json"});
    EXPECT_EQ(run.code, ExitCode::Failed);
    ASSERT_EQ(run.Document()["failed"].size(), 1U) << run.out;
    EXPECT_EQ(run.Document()["failed"][0]["kind"], "record");
    EXPECT_EQ(Drive(machine), files);
    EXPECT_EQ(Settings(machine), settings);
}

}  // namespace
}  // namespace bkfd
