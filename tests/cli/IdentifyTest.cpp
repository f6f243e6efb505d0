#include <gmock/gmock.h>

#include <algorithm>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

TEST(Identify, JudgesFilesOfTheMachineAndOfTheHost) {
    const MachineCopy machine("hijacked-xp");
    const struct {
        std::string path;  // below C:
        std::int64_t size;
        const char* manufacturer;
        const char* judgments;
    } rows[] = {
        {"WINDOWS/system32/winhook.dll", 2560, "",
         "suspicious parasite suspiciousBho parasiteBho "},
        {"WINDOWS/system32/msupdt.dll", 2645, "Microsoft Corporation", "parasite "},
        {"WINDOWS/system32/netcfg2.dll", 2560, "Fernhill Audio", ""},
        {"Program Files/Folder Tools/fold32.exe", 4608, "",
         "good parasite suspiciousBho parasiteBho "},
        {"Program Files/Common Files/PCShared/NMIEHelp.dll", 1024, "", "suspicious "},
        {"Program Files/Adobe/Acrobat 6.0/Reader/ActiveX/AcroIEFavClient.dll", 1024, "",
         "suspicious suspiciousBho "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const std::string host = machine.Path("drives/c/" + row.path);
        std::string inside = "C:\\" + row.path;
        std::replace(inside.begin(), inside.end(), '/', '\\');
        const CliRun run = RunCli({"--json", "identify", host});
        EXPECT_EQ(run.code, 0) << run.err;
        auto files = run.Document()["items"];
        EXPECT_EQ(files[0]["path"], host);
        EXPECT_EQ(files[0]["size"], row.size);
        EXPECT_EQ(files[0]["manufacturer"], row.manufacturer);
        std::string judgments;
        for (const char* name :
             {"good", "suspicious", "parasite", "suspiciousBho", "parasiteBho"}) {
            if (files[0][name]) judgments += name + std::string(" ");
        }
        EXPECT_EQ(judgments, row.judgments);
        files[0]["path"] = inside;
        EXPECT_EQ(RunOn(machine, {"--json", "identify", inside}).Document()["items"], files);
    }
    const CliRun text = RunCli({"identify", machine.Path("drives/c/WINDOWS/system32/se.dll"),
                                machine.Path("drives/c/WINDOWS/explorer.exe")});
    ExpectGolden("identify.txt", text.out, machine);
}

TEST(Identify, ReadsHostFilesUnderAnyName) {
    const HostFolder folder;
    for (const std::string name :
         {"a:b.dll", "что?*.dll", "back\\slash.exe", "bad\xff name. ", "32.exe"}) {
        SCOPED_TRACE(name);
        folder.Write(name, "abc");
        const CliRun run = RunCli({"--json", "identify", folder.Path(name)});
        EXPECT_EQ(run.code, 0) << run.err;
        // A byte without a character stands as an escape, which Python gives back.
        std::string document = run.out;
        if (const auto at = document.find("\\udcff"); at != std::string::npos) {
            document.replace(at, 6, "\xEF\xBF\xBD");
        }
        EXPECT_EQ(document != run.out, name.find('\xff') != std::string::npos);
        const auto file = nlohmann::json::parse(document)["items"].at(0);
        EXPECT_EQ(file["size"], 3);
        EXPECT_EQ(file["hash"], 536871084);
        // A colon or a backslash in a name of the host is neither a stream nor a folder.
        EXPECT_EQ(file["parasite"], name == "32.exe");
    }
}

TEST(Identify, ListsTheRestWhenAFileIsMissing) {
    const HostFolder folder;
    folder.Write("there.dll", "abc");
    const std::string there = folder.Path("there.dll");
    const struct {
        Strings files;
        int code;
        const char* message;
    } rows[] = {{{folder.Path("no.dll"), there}, 2, "no.dll: "},
                {{there, folder.Path()}, 2, "is a folder"},
                {{"/dev/null", there}, 3, "/dev/null: "}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        const CliRun run = RunCli({"--json", "identify", row.files[0], row.files[1]});
        EXPECT_EQ(run.code, row.code);
        EXPECT_EQ(run.Document()["items"].size(), 1U);
        EXPECT_THAT(run.err, testing::HasSubstr(row.message));
    }
}

}  // namespace
}  // namespace bkfd
