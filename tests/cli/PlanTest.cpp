#include <gmock/gmock.h>

#include "base/Utf16Bytes.h"
#include "cli/CliFixture.h"
#include "formats/RegText.h"

// A cleanup as files that the machine itself carries out.
namespace bkfd {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What an export file says, a line each: "[key]", "[-key]", "name" or "name=-".
std::string Told(const std::string& content) {
    const Bytes bytes(content.begin(), content.end());
    const RegCodePage latin{
        [](std::string_view narrow) {
            return FromBytes({reinterpret_cast<const std::uint8_t*>(narrow.data()), narrow.size()});
        },
        [](TextView) { return std::string(); }};
    const auto parsed = ParseRegText(bytes, latin);
    std::string told;
    for (const RegSection& section : std::get<RegDocument>(parsed).sections) {
        told += (section.isDeletion ? "[-" : "[") + ToUtf8(section.key) + "]\n";
        for (const RegEntry& entry : section.entries) {
            told += ToUtf8(entry.name) + (entry.isDeletion ? "=-" : "") + '\n';
        }
    }
    return told;
}

TEST(Plan, ChangesNothingAndTellsAllOfACleanup) {
    constexpr const char* kHelpers =
        "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
        "Browser Helper Objects\\";
    const struct {
        const char* machine;
        int code;
        const char* helper;
        Strings batch;  // lines of it
        const char* missing;
    } rows[] = {{"hijacked-xp",
                 2,
                 "{E0103CD4-D1CE-411A-B75B-4FEC072867F4}",
                 {"regedit /s \"%~dp0fix.reg\"", "ren \"c:\\windows\\system32\\winhook.dll\"",
                  "attrib +r +s +h \"c:\\windows\\system32\\winhook.dll\""},
                 "c:\\windows\\system32\\обновление.exe"},
                // What is in use on a running machine isn't at its DOS prompt.
                {"hijacked-98",
                 2,
                 "{D3F84B16-A70C-4E29-92D5-8B1E6F0C4A73}",
                 {"ren C:\\WINDOWS\\SYSTEM\\NOBODY.DLL BKFD0002.PAR",
                  "ren C:\\WINDOWS\\SYSTEM\\BKFD0002.PAR \"parasite_NOBODY.DLL.parasite\"",
                  "ren \"C:\\WINDOWS\\SYSTEM\\NOBODY.DLL\" \"parasite_NOBODY.DLL.parasite\""},
                 "C:\\WINDOWS\\SYSTEM\\жук.dll"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const MachineCopy machine(row.machine);
        const auto before = machine.Snapshot();
        const HostFolder out;
        const Strings command = {"--json", "clean", "--plan", out.Path("plan")};
        const CliRun planned = RunOn(machine, command);
        EXPECT_EQ(planned.code, row.code) << planned.err;
        EXPECT_EQ(machine.Snapshot(), before);
        const auto document = planned.Document();
        EXPECT_EQ(document["plan"].size(), 3U);
        EXPECT_THAT(document["failed"].dump(), HasSubstr(nlohmann::json(row.missing).dump()));

        const std::string batch = out.Read("plan/fix.bat");
        for (const std::string& line : row.batch) EXPECT_THAT(batch, HasSubstr(line));
        EXPECT_EQ(batch.find('\n'), batch.find("\r\n") + 1);
        const std::string fix = Told(out.Read("plan/fix.reg"));
        const std::string undo = Told(out.Read("plan/undo.reg"));
        EXPECT_THAT(fix, HasSubstr(std::string("[-") + kHelpers + row.helper));
        EXPECT_THAT(undo, HasSubstr(std::string("[") + kHelpers + row.helper));
        EXPECT_THAT(fix + undo, Not(HasSubstr("Cleanup Time")));

        const CliRun again = RunOn(machine, command);
        EXPECT_EQ(again.code, 2) << "a file that is there is never touched";
        EXPECT_EQ(out.Read("plan/fix.bat"), batch);
    }
}

TEST(Plan, FitsWhatTheMachinesOwnProgramsRead) {
    const HostFolder out;
    const MachineCopy russian("hijacked-xp");
    russian.Write("registry/90-page.reg",
                  "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Nls\\"
                  "CodePage]\r\n\"OEMCP\"=\"866\"\r\n");
    const CliRun inItsCodePage = RunOn(russian, {"clean", "--plan", out.Path("866")});
    EXPECT_EQ(inItsCodePage.code, 0) << inItsCodePage.out;
    EXPECT_THAT(out.Read("866/fix.bat"),
                HasSubstr("parasite_\xAE\xA1\xAD\xAE\xA2\xAB\xA5\xAD\xA8\xA5.exe.parasite"));

    const MachineCopy unique("hijacked-xp");
    unique.Write("drives/c/WINDOWS/system32/обновление.exe", std::string(2777, 'x'));
    const CliRun bySize = RunOn(unique, {"clean", "--plan", out.Path("size")});
    EXPECT_THAT(out.Read("size/fix.bat"),
                HasSubstr("for %%f in (\"c:\\windows\\system32\\??????????.exe\") do if "
                          "%%~zf==2777 ren \"%%f\""))
        << bySize.out;

    const MachineCopy old("hijacked-98");
    old.Edit([](auto& facts) { facts["version"] = {4, 0}, facts["build"] = 950; });
    const CliRun windows95 = RunOn(old, {"clean", "--plan", out.Path("95")});
    EXPECT_EQ(windows95.code, 2);
    EXPECT_THAT(windows95.out, HasSubstr("The registry editor of Windows 95 deletes nothing"));
    EXPECT_THAT(out.Read("95/fix.reg"), Not(HasSubstr("[-")));

    const CliRun clean = RunOn(MachineCopy("clean-xp"), {"clean", "--plan", out.Path("none/none")});
    EXPECT_EQ(clean.code, 2) << "nobody has made the folder above";
    EXPECT_THAT(clean.err, HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace bkfd
