#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/CliBench.h"

// Scans of the example machines: each planted parasite is found, and nothing else.
namespace bkfd {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using Strings = std::vector<std::string>;

TEST(Scan, FindsWhatIsPlantedAndNothingElse) {
    const struct {
        const char* machine;
        int code;
        const char* verdict;
        Strings files;
        Strings bhos;
    } rows[] = {
        {"clean-xp", 0, "clean", {}, {}},
        {"hijacked-xp",
         1,
         "parasites",
         {
             // Helper objects, in the spelling of the registry; the second is an expanded path.
             "C:\\WINDOWS\\system32\\hpjk.dll",
             "C:\\WINDOWS\\system32\\srchast.dll",
             "C:\\WINDOWS\\system32\\gone.dll",
             // Started at logon and running: by a bare name, with a name beyond the code page, and
             // by two values.
             "c:\\windows\\winsrvhp.exe",
             "c:\\windows\\system32\\обновление.exe",
             "c:\\windows\\system32\\msnav32.exe",
             // Loaded: a listed size and hash, a stream, then a temporary file that runs.
             "c:\\windows\\system32\\winhook.dll",
             "c:\\windows\\hpstat.txt:hp.dll",
             "c:\\documents and settings\\kit\\local settings\\temp\\~upd7.tmp",
             // Loaded: by name, and a listed file that names a company.
             "c:\\windows\\system32\\se.dll",
             "c:\\windows\\system32\\msupdt.dll",
         },
         {
             "{E0103CD4-D1CE-411A-B75B-4FEC072867F4}", "{9B71D2E4-6C08-4A3F-8D15-E4F720C69B83}",
             "{1A64F7B0-3E59-4C82-B0D7-95A8C3E2F160}",  // the same file as the first
             "{C8D51E93-72A4-4B06-8E3F-1D90B7F4A265}",  // its file is gone
             "{4D0E8A26-B5F1-4739-A6C2-0F83D9E7B512}",  // a class without a server
             "{F2937B4C-05D8-4E61-93AB-C7E16D80F429}",  // no class
             "{83C6F0A5-1D7E-4B92-AF34-6E2B90D8C701}",  // a good file: it alone stays
         }},
        {"hijacked-98",
         1,
         "parasites",
         {
             "C:\\WINDOWS\\SYSTEM\\MSXMIDI.DLL",
             "C:\\WINDOWS\\SYSTEM\\жук.dll",
             "C:\\WINDOWS\\SYSTEM\\NOBODY.DLL",
             "c:\\windows\\sysmon32.exe",
             "c:\\windows\\system\\winprot.dll",
             "c:\\windows\\dial32.exe",
         },
         {
             "{0F7E52D8-C3B1-4A96-8E24-D90B6A1C7F35}",
             "{6A91C0E7-5D42-4F8B-B3E6-2C07F9D8A154}",
             "{D3F84B16-A70C-4E29-92D5-8B1E6F0C4A73}",
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const MachineCopy machine(row.machine);
        const auto before = machine.Snapshot();
        const CliRun run = RunCli({"--machine", machine.Path(), "--json", "scan"});
        EXPECT_EQ(run.code, row.code) << run.err;
        const auto document = run.Document();
        EXPECT_EQ(document["verdict"], row.verdict);
        EXPECT_THAT(document["files"].get<Strings>(), ElementsAreArray(row.files));
        EXPECT_THAT(document["bhos"].get<Strings>(), UnorderedElementsAreArray(row.bhos));
        EXPECT_EQ(machine.Snapshot(), before) << "a scan changes nothing";
    }
}

TEST(Scan, TellsPeopleWhyAndWhere) {
    for (const char* name : {"hijacked-xp", "hijacked-98", "clean-xp"}) {
        SCOPED_TRACE(name);
        const MachineCopy machine(name);
        const CliRun run = RunCli({"--machine", machine.Path(), "scan"});
        ExpectGolden(std::string("scan-") + name + ".txt", run.out, machine);
        EXPECT_THAT(run.err, IsEmpty());
    }
}

TEST(Scan, DoesNotCallCleanWhatItCouldNotRead) {
    const char* const kHelpers =
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
        "Browser Helper Objects";
    const struct {
        const char* label;
        const char* machine;
        std::function<void(nlohmann::ordered_json& facts)> edit;
        int code;
        const char* verdict;
        const char* unreadable;  // part of the list
    } rows[] = {
        {"a process alone is usual", "clean-xp", [](auto&) {}, 0, "clean", R"("kind":"process")"},
        {"a key", "clean-xp",
         [&](auto& facts) {
             facts["denied"] = {{"read", {kHelpers}}};
         },
         3, "incomplete", "Browser Helper Objects"},
        {"a file", "clean-xp",
         [](auto& facts) {
             facts["files"]["C:\\Program Files\\Messenger\\msmsgs.exe"]["unreadable"] = true;
         },
         3, "incomplete", "msmsgs.exe"},
        {"parasites come first", "hijacked-xp",
         [](auto& facts) {
             facts["files"]["C:\\Program Files\\Messenger\\msmsgs.exe"]["unreadable"] = true;
         },
         1, "parasites", "msmsgs.exe"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine(row.machine);
        machine.Edit(row.edit);
        const CliRun run = RunCli({"--json", "scan", "--machine", machine.Path()});
        EXPECT_EQ(run.code, row.code) << run.err;
        const auto document = run.Document();
        EXPECT_EQ(document["verdict"], row.verdict);
        EXPECT_THAT(document["unreadable"].dump(), HasSubstr(row.unreadable));
        for (const auto& entry : document["unreadable"]) {
            EXPECT_FALSE(entry["name"].get<std::string>().empty());
            EXPECT_FALSE(entry["error"].get<std::string>().empty());
        }
    }
}

}  // namespace
}  // namespace bkfd
