#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <set>

#include "cli/CliFixture.h"
#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

const Strings kRecordCommand = {"scan", "--record", "--name", "room 3/pc"};

TEST(Record, IsOneLineThatHangsOnTheMachineAlone) {
    for (const char* example : {"clean-xp", "hijacked-xp", "hijacked-98"}) {
        SCOPED_TRACE(example);
        const MachineCopy machine(example);
        const MachineCopy elsewhere(example);
        const CliRun run = RunOn(machine, kRecordCommand);
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out.find('\n'), run.out.size() - 1);
        EXPECT_EQ(RunOn(elsewhere, kRecordCommand).out, run.out) << "no host and no clock in it";
        const auto record = run.Document();
        const auto scan = RunOn(machine, {"--json", "scan"}).Document();
        EXPECT_EQ(record["machine"]["name"], "room 3/pc");
        EXPECT_EQ(record["verdict"], scan["verdict"]);
        EXPECT_EQ(record["files"].size(), scan["files"].size());
        EXPECT_EQ(record["unreadable"], scan["unreadable"]);
        machine.Write("registry/more.reg", "REGEDIT4\r\n");
        const auto changed = RunOn(machine, kRecordCommand).Document();
        EXPECT_NE(changed["input"]["sha256"], record["input"]["sha256"]);
        EXPECT_EQ(changed["files"], record["files"]);
    }
}

TEST(Record, NamesPlacesAsOthersDo) {
    const auto record = RunOn(MachineCopy("hijacked-xp"), {"scan", "--record"}).Document();
    const auto& object = record["files"][0];
    EXPECT_EQ(object["places"][0]["registry"], nlohmann::json::parse(R"({"hive": "HKLM",
        "key": "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\{1A64F7B0-3E59-4C82-B0D7-95A8C3E2F160}",
        "path": "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\{1A64F7B0-3E59-4C82-B0D7-95A8C3E2F160}"})"));
    EXPECT_EQ(object["techniques"], nlohmann::json::array({"T1176"}));
    EXPECT_EQ(object["places"][2]["technique"], nullptr) << "a module of a program";
    const auto& startup = record["files"][3]["places"][0];
    EXPECT_EQ(startup["registry"]["value"], "Service Host");
    EXPECT_EQ(startup["registry"]["path"],
              "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\Service Host");
    EXPECT_EQ(startup["technique"], "T1547.001");
    std::set<std::string> hidden;
    for (const auto& file : record["files"]) {
        if (file["techniques"].dump().find("T1564.004") != std::string::npos) {
            hidden.insert(file["path"]);
        }
    }
    EXPECT_THAT(hidden, testing::ElementsAre(HasSubstr("hpstat.txt:hp.dll")));
    for (const auto& setting : record["settings"]) {
        EXPECT_EQ(setting["technique"] == "T1112", setting["status"] == "i") << setting;
    }
    EXPECT_EQ(record["input"]["files"][0]["name"], "machine.json");
    const auto times =
        RunOn(MachineCopy("hijacked-xp"), {"scan", "--record", "--times"}).Document()["times"];
    EXPECT_EQ(times["files"][0]["path"], object["path"]);
}

TEST(Record, ExitCodesTellWhetherToTryAgain) {
    const struct {
        const char* label;
        std::function<void(const MachineCopy&, HostFile&)> prepare;
        int code;
        bool hasRecord;
        const char* message;
    } rows[] = {
        {"nothing wrong", [](const MachineCopy&, HostFile&) {}, 0, true, ""},
        {"a file can't be read",
         [](const MachineCopy& machine, HostFile&) {
             machine.Edit([](auto& facts) {
                 facts["files"]["C:\\WINDOWS\\system32\\hpjk.dll"]["unreadable"] = true;
             });
         },
         3, true, ""},
        {"no machine at all",
         [](const MachineCopy& machine, HostFile&) {
             std::filesystem::remove(machine.Path("machine.json"));
         },
         2, false, "holds no Windows"},
        {"in use for now",
         [](const MachineCopy& machine, HostFile& lock) {
             lock = HostFile(OpenUntouched(machine.Path(), O_DIRECTORY));
             EXPECT_EQ(flock(lock.Get(), LOCK_EX), 0);
         },
         4, false, "in use by another process"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine("hijacked-xp");
        HostFile lock;
        row.prepare(machine, lock);
        const CliRun run = RunOn(machine, kRecordCommand);
        EXPECT_EQ(run.code, row.code);
        EXPECT_EQ(!run.out.empty(), row.hasRecord);
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_EQ(run.err.empty(), row.hasRecord);
    }
    EXPECT_EQ(RunOn(MachineCopy("clean-xp"), {"scan", "--times"}).code, 2);
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
    return count;
}

/// The data between the page's markup.
nlohmann::json DataOf(const std::string& page) {
    const std::string mark = R"(id="data">)";
    const std::size_t start = page.find(mark) + mark.size();
    return nlohmann::json::parse(page.substr(start, page.find("</script>", start) - start));
}

TEST(Page, HoldsWhatWasFoundAndWhatWasDone) {
    const MachineCopy machine("hijacked-xp");
    machine.Edit([](auto& facts) { facts["servicePack"] = "</script><script>alert(1)</script>"; });
    const HostFolder out;
    const CliRun scan = RunOn(machine, {"scan", "--html", out.Path("scan.html")});
    EXPECT_EQ(scan.code, 1) << scan.err;
    const std::string page = out.Read("scan.html");
    EXPECT_EQ(Count(page, "<script"), 2U) << "a text ended the element that it is in";
    EXPECT_EQ(Count(page, "@"), Count(page, "@media")) << "a mark is left";
    const auto record = DataOf(page)["record"];
    EXPECT_EQ(record["files"], RunOn(machine, {"scan", "--record"}).Document()["files"]);
    EXPECT_THAT(record["machine"]["windows"].dump(), HasSubstr("</script>"));

    EXPECT_EQ(RunOn(machine, {"clean", "--yes"}).code, 0);
    const auto cleaned = machine.Snapshot();
    const CliRun undo = RunOn(machine, {"undo", "last", "--html", out.Path("undo.html")});
    EXPECT_EQ(undo.code, 0) << undo.err;
    EXPECT_EQ(machine.Snapshot(), cleaned) << "the page takes nothing back";
    const auto told = DataOf(out.Read("undo.html"))["undo"];
    EXPECT_EQ(told["operation"], "Automatic cleanup");
    EXPECT_GT(told["changes"].size(), 20U);
    EXPECT_EQ(RunOn(machine, {"scan", "--html", out.Path("scan.html")}).code, 2)
        << "a file that is there is never touched";
    EXPECT_EQ(out.Read("scan.html"), page);
}

}  // namespace
}  // namespace bkfd
