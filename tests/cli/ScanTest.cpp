#include <gmock/gmock.h>

#include "cli/CliFixture.h"
#include "cli/ScanResult.h"
#include "common/DetectionFixture.h"
#include "detection/CPaDetector.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

TEST(Scan, FindsWhatIsPlantedAndNothingElse) {
    const struct {
        const char* machine;
        int code;
        const char* verdict;
        std::size_t files;
        std::size_t bhos;
    } rows[] = {{"clean-xp", 0, "clean", 0, 0},
                {"hijacked-xp", 1, "parasites", 11, 7},
                {"hijacked-98", 1, "parasites", 6, 3}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const MachineCopy machine(row.machine);
        const auto before = machine.Snapshot();
        const CliRun text = RunOn(machine, {"scan"});
        ExpectGolden(std::string("scan-") + row.machine + ".txt", text.out, machine);
        EXPECT_EQ(text.err, "");
        const CliRun run = RunOn(machine, {"--json", "scan"});
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_EQ(text.code, row.code);
        const auto document = run.Document();
        EXPECT_EQ(document["verdict"], row.verdict);
        EXPECT_EQ(document["files"].size(), row.files);
        EXPECT_EQ(document["bhos"].size(), row.bhos);
        std::size_t at = 0;
        for (const auto& file : document["files"]) {
            at = text.out.find("\n  " + file["path"].get<std::string>() + '\n', at);
        }
        for (const auto& object : document["bhos"]) {
            at = text.out.find("\n  " + object["clsid"].get<std::string>() + "  ", at);
        }
        EXPECT_NE(at, std::string::npos) << "the document has what the text has, in its order";
        EXPECT_EQ(machine.Snapshot(), before) << "a scan changes nothing";
    }
}

TEST(Scan, TellsInItsDocumentWhatItsTextTells) {
    const MachineCopy machine("hijacked-xp");
    machine.Edit([](auto& facts) { facts["servicePack"] = "\u202E2"; });
    EXPECT_THAT(RunOn(machine, {"scan"}).out, HasSubstr("Windows XP 5.1.2600 \\u202e2\n"));
    const auto document = RunOn(machine, {"--json", "scan", "--suspicious"}).Document();
    EXPECT_EQ(document["schema"], 2);
    EXPECT_EQ(document["machine"]["windows"], "Windows XP 5.1.2600 \u202E2");
    EXPECT_EQ(document["machine"]["family"], "nt");
    // The hash is sha256sum's.
    EXPECT_EQ(document["files"][0].dump(), nlohmann::json::parse(R"({
        "path": "C:\\WINDOWS\\system32\\hpjk.dll", "reasons": ["helper-object"],
        "places": [
          {"kind": "helper-object", "name": "{1A64F7B0-3E59-4C82-B0D7-95A8C3E2F160}",
           "user": null, "view": null},
          {"kind": "helper-object", "name": "{E0103CD4-D1CE-411A-B75B-4FEC072867F4}",
           "user": null, "view": null},
          {"kind": "module", "name": "C:\\Program Files\\Internet Explorer\\iexplore.exe",
           "user": null, "view": null}],
        "exists": true, "size": 1024, "hash": 532147987,
        "sha256": "d279cb6ccce6a643c41d2b5b66166ea7c8b44afc3cfd63e2d5f863f939186f9d", "company": "", "description": ""})")
                                               .dump());
    EXPECT_EQ(document["files"][2]["exists"], false);
    EXPECT_EQ(document["files"][2]["sha256"], nullptr);
    EXPECT_EQ(
        document["files"][3]["places"][0]["name"],
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\Service Host");
    EXPECT_THAT(document["suspicious"].dump(), HasSubstr("AcroIEFavClient.dll"));
    EXPECT_THAT(document["suspicious"].dump(), testing::Not(HasSubstr("hpjk.dll")));
    EXPECT_EQ(document["settings"].size(), 26U);
}

TEST(Scan, TakesEachInventoryOnce) {
    const auto calls = [](void (*work)(DetectionFixture&)) {
        DetectionFixture fixture;
        fixture.machine.AddFile(u"C:\\bad32.exe", "plain");
        fixture.machine.AddProcess({8, u"C:\\bad32.exe", {u"C:\\a.tmp"}});
        fixture.machine.SetString(HKLM, kRun, u"v", u"C:\\bad32.exe");
        AddHelperObject(fixture.machine, kFirstClsid, u"x", u"C:\\bad32.exe");
        work(fixture);
        std::map<std::string, int> counts;
        for (const char* call : {"EnumProcesses", "OpenProcess", "EnumProcessModules",
                                 "GetModuleFileNameExW", "RegEnumKeyExW", "RegEnumValueW"}) {
            counts[call] = fixture.Calls(call);
        }
        return counts;
    };
    const auto once = calls([](DetectionFixture& fixture) {
        CPaDetector detector;
        detector.Init(fixture.log, nullptr);
        EXPECT_EQ(detector.Detect().files.size(), 2U);
    });
    EXPECT_EQ(calls([](DetectionFixture& fixture) {
                  const ScanResult result = Scan({fixture.log,
                                                  [](const auto& work) { work({}); },
                                                  {},
                                                  [] { return std::vector<Unreadable>(); }},
                                                 true);
                  EXPECT_EQ(result.files.size(), 2U);
                  EXPECT_EQ(result.programsSeen, 1U);
              }),
              once);
    EXPECT_GT(once.at("EnumProcesses"), 0);
}

TEST(Scan, AHelperObjectWithoutAFileIsEnough) {
    const MachineCopy machine("clean-xp");
    machine.Write(
        "registry/90-dead.reg",
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\"
        "Explorer\\Browser Helper Objects\\{B0000000-0000-4000-8000-000000000002}]\r\n");
    const CliRun run = RunOn(machine, {"--json", "scan"});
    EXPECT_EQ(run.code, 1) << run.err;
    EXPECT_EQ(run.Document()["verdict"], "parasites");
    EXPECT_EQ(run.Document()["files"].size(), 0U);
}

TEST(Scan, DoesNotCallCleanWhatItCouldNotRead) {
    using Facts = nlohmann::ordered_json;
    const auto denyHelpers = [](Facts& facts) {
        facts["denied"]["read"] = {
            "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
            "Browser Helper Objects"};
    };
    const auto denyFile = [](Facts& facts) {
        facts["files"]["C:\\Program Files\\Messenger\\msmsgs.exe"]["unreadable"] = true;
    };
    const struct {
        const char* label;
        const char* machine;
        std::function<void(Facts&)> edit;
        int code;
        const char* lastLine;
        const char* verdict;
        const char* unreadable;  // part of the list
    } rows[] = {
        {"a process alone is usual", "clean-xp", [](Facts&) {}, 0,
         "Clean: no parasite found, but 2 processes could not be read.", "clean",
         R"("kind":"process")"},
        {"a key", "clean-xp", denyHelpers, 3,
         "Incomplete: no parasite found, but 2 processes and 1 registry key could not be read.",
         "incomplete", "Browser Helper Objects"},
        {"a file", "clean-xp", denyFile, 3,
         "Incomplete: no parasite found, but 2 processes and 1 file could not be read.",
         "incomplete", "msmsgs.exe"},
        {"parasites come first", "hijacked-xp", denyFile, 1,
         "Parasites found: 11 files to disable, 7 helper objects to delete; 3 processes and 1 file "
         "could not be read.",
         "parasites", "msmsgs.exe"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine(row.machine);
        machine.Edit(row.edit);
        EXPECT_THAT(RunOn(machine, {"scan"}).out,
                    testing::EndsWith('\n' + std::string(row.lastLine) + '\n'));
        const CliRun run = RunOn(machine, {"--json", "scan"});
        EXPECT_EQ(run.code, row.code) << run.err;
        const auto document = run.Document();
        EXPECT_EQ(document["verdict"], row.verdict);
        EXPECT_THAT(document["unreadable"].dump(), HasSubstr(row.unreadable));
        for (const auto& entry : document["unreadable"]) {
            EXPECT_NE(entry["name"], "");
            EXPECT_NE(entry["error"], "");
        }
    }
}

TEST(Unreadable, KeysAreToldByOtherCommandsToo) {
    for (const Strings& command : {Strings{"startup"}, {"clean", "--yes"}}) {
        const MachineCopy machine("hijacked-xp");
        const std::string key =
            "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
        machine.Edit([&](auto& facts) { facts["denied"]["read"] = {key}; });
        const CliRun run = RunOn(machine, command);
        EXPECT_EQ(run.code, 3);
        EXPECT_THAT(run.err, HasSubstr("could not read registry " + key));
    }
}

TEST(Scan, TellsTheViewsOfA64BitWindowsApart) {
    const MachineCopy machine("clean-xp");
    AddParasiteOf32Bits(machine);
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 0) << "a 32-bit Windows doesn't look there";
    machine.Edit([](auto& facts) { facts["architecture"] = "x64"; });
    const auto document = RunOn(machine, {"--json", "scan"}).Document();
    EXPECT_EQ(document["bhos"][0]["view"], "32-bit");
    EXPECT_EQ(document["files"][0]["path"], "C:\\WINDOWS\\SysWOW64\\view.dll");
    EXPECT_EQ(document["files"][0]["places"][0]["view"], "32-bit");
    EXPECT_EQ(document["settings"].back()["view"], "32-bit");
    EXPECT_FALSE(document["settings"][0].contains("view"));
    EXPECT_THAT(RunOn(machine, {"scan"}).out, HasSubstr("View (32-bit)"));
    EXPECT_THAT(RunOn(machine, {"scan", "--record"}).out,
                HasSubstr(R"("path":"HKLM\\Software\\Wow6432Node\\Microsoft\\Windows\\Curr)"));
    for (const char* list : {"bhos", "startup", "settings"}) {
        SCOPED_TRACE(list);
        EXPECT_EQ(RunOn(machine, {"--json", list}).out.find("32-bit") != std::string::npos,
                  std::string(list) != "startup");
    }
    const auto before = RunOn(machine, {"--json", "settings"}).out;
    const auto cleaned = RunOn(machine, {"--json", "clean", "--yes"}).Document();
    EXPECT_THAT(cleaned["changes"].dump(), HasSubstr("Wow6432Node"));
    EXPECT_EQ(cleaned["deletedBhos"].size(), 1U);
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 0);
    EXPECT_NE(RunOn(machine, {"--json", "settings"}).out, before);
    EXPECT_EQ(RunOn(machine, {"undo", "last", "--yes"}).code, 0);
    EXPECT_EQ(RunOn(machine, {"--json", "settings"}).out, before);
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 1);
}

}  // namespace
}  // namespace bkfd
