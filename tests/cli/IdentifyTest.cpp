#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/CliBench.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

TEST(Identify, JudgesFilesOfTheMachineAndOfTheHost) {
    const MachineCopy machine("hijacked-xp");
    const std::string host = machine.Path() + "/drives/c/";
    const struct {
        const char* path;  // below C:
        std::int64_t size;
        std::int64_t hash;  // -1 for any
        const char* manufacturer;
        const char* judgments;
    } rows[] = {
        {"WINDOWS/system32/winhook.dll", 2560, 12649235, "",
         "suspicious parasite suspiciousBho parasiteBho"},
        {"WINDOWS/system32/msupdt.dll", 2645, 522891, "Microsoft Corporation", "parasite"},
        {"WINDOWS/system32/netcfg2.dll", 2560, -1, "Fernhill Audio", ""},
        {"WINDOWS/system32/se.dll", 1024, -1, "", "suspicious parasite suspiciousBho parasiteBho"},
        {"Program Files/Folder Tools/fold32.exe", 4608, 4108130, "",
         "good parasite suspiciousBho parasiteBho"},
        {"Program Files/Common Files/PCShared/NMIEHelp.dll", 1024, -1, "", "suspicious"},
        {"Program Files/Adobe/Acrobat 6.0/Reader/ActiveX/AcroIEFavClient.dll", 1024, -1, "",
         "suspicious suspiciousBho"},
        {"WINDOWS/system32/rundll32.exe", 2048, -1, "Microsoft Corporation", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        std::string inside = std::string("C:\\") + row.path;
        std::replace(inside.begin(), inside.end(), '/', '\\');
        for (const auto& arguments : std::vector<std::vector<std::string>>{
                 {"--json", "identify", host + row.path},
                 {"--json", "--machine", machine.Path(), "identify", inside}}) {
            const CliRun run = RunCli(arguments);
            EXPECT_EQ(run.code, 0) << run.err;
            const auto file = run.Document().at(0);
            EXPECT_EQ(file["path"], arguments.back());
            EXPECT_EQ(file["size"], row.size);
            if (row.hash >= 0) {
                EXPECT_EQ(file["hash"], row.hash);
            }
            EXPECT_EQ(file["manufacturer"], row.manufacturer);
            std::string judgments;
            for (const char* name :
                 {"good", "suspicious", "parasite", "suspiciousBho", "parasiteBho"}) {
                if (file[name]) judgments += (judgments.empty() ? "" : " ") + std::string(name);
            }
            EXPECT_EQ(judgments, row.judgments);
        }
    }
}

TEST(Identify, ReadsHostFilesUnderAnyName) {
    const MachineCopy folder("");
    for (const char* name :
         {"a:b.dll", "что?*.dll", "back\\slash.exe", "bad\xff name. ", "32.exe"}) {
        SCOPED_TRACE(name);
        folder.Write(name, "abc");
        const CliRun run = RunCli({"--json", "identify", folder.Path() + "/" + name});
        EXPECT_EQ(run.code, 0) << run.err;
        const auto file = run.Document().at(0);
        EXPECT_EQ(file["size"], 3);
        EXPECT_EQ(file["hash"], 536871084);
        // A colon or a backslash in a name of the host is neither a stream nor a folder.
        EXPECT_EQ(file["parasite"], std::string(name).ends_with("32.exe"));
    }
}

TEST(Identify, ListsTheRestWhenAFileIsMissing) {
    const MachineCopy folder("");
    folder.Write("there.dll", "abc");
    const std::string there = folder.Path() + "/there.dll";
    const struct {
        const char* label;
        std::vector<std::string> files;
        int code;
        std::size_t count;
        const char* message;
    } rows[] = {
        {"missing", {folder.Path() + "/no.dll", there}, 2, 1, "no.dll: "},
        {"folder", {there, folder.Path()}, 2, 1, "is a folder"},
        {"device", {"/dev/null", there}, 3, 1, "/dev/null: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        std::vector<std::string> arguments{"--json", "identify"};
        arguments.insert(arguments.end(), row.files.begin(), row.files.end());
        const CliRun run = RunCli(arguments);
        EXPECT_EQ(run.code, row.code);
        EXPECT_EQ(run.Document().size(), row.count);
        EXPECT_THAT(run.err, HasSubstr(row.message));
    }
}

TEST(Identify, ReadsWellOnATerminal) {
    const MachineCopy machine("hijacked-xp");
    const CliRun run = RunCli({"identify", machine.Path() + "/drives/c/WINDOWS/system32/se.dll",
                               machine.Path() + "/drives/c/WINDOWS/explorer.exe"});
    ExpectGolden("identify.txt", run.out, machine);
}

}  // namespace
}  // namespace bkfd
