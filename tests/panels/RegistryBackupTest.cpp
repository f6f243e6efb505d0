#include "panels/RegistryBackup.h"

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "base/Utf16Bytes.h"
#include "common/BrowserKeys.h"
#include "common/EngineFixture.h"
#include "services/RegistryAccess.h"

namespace bkfd {
namespace {

constexpr char16_t kProgramFolder[] = u"C:\\Program Files\\Brackenfold";
constexpr char16_t kBackup[] =
    u"C:\\Program Files\\Brackenfold\\Backup\\Backup Nov 16, 2026 09-39-04.reg";

std::string BytesOf(EngineFixture& fixture, TextView file) {
    const Bytes content = fixture.machine.FileContent(file);
    return {content.begin(), content.end()};
}

/// The text of a UTF-16LE file behind its mark, as UTF-8.
std::string WideTextOf(EngineFixture& fixture, TextView file) {
    const Text wide = FromUtf16Bytes(fixture.machine.FileContent(file));
    EXPECT_EQ(wide.substr(0, 1), u"\uFEFF");
    return ToUtf8(wide.substr(1));
}

constexpr std::pair<RegistryRoot, TextView> kParts[] = {
    {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\{1}"},
    {HKCU, u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel"},
    {HKCU, u"Software\\Microsoft\\Internet Explorer\\Main"},
    {HKLM, u"Software\\Microsoft\\Internet Explorer\\Main"},
    {HKLM, u"Software\\Microsoft\\Internet Explorer\\AboutURLs"},
    {HKCU, u"Software\\Microsoft\\Internet Explorer\\Styles"},
    {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\Prefixes"},
    {HKCR, u"PROTOCOLS\\Handler\\About"},
    {HKCR, u"PROTOCOLS\\Handler\\file"},
    {HKCR, u"PROTOCOLS\\Handler\\ftp"},
    {HKCR, u"PROTOCOLS\\Handler\\gopher"},
    {HKCR, u"PROTOCOLS\\Handler\\http"},
    {HKCR, u"PROTOCOLS\\Handler\\https"},
    {HKCR, u"PROTOCOLS\\Handler\\local"},
    {HKCR, u"PROTOCOLS\\Filter\\text/html"},
    {HKCR, u"PROTOCOLS\\Filter\\text/plain"},
};

void Fill(MemoryMachine& machine) {
    for (const auto& [root, key] : kParts) machine.SetString(root, key, u"n", u"v\u00E9");
    const Text windows = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
    machine.SetString(HKLM, windows, u"AppInit_DLLs", u"a.dll");
    machine.SetString(HKLM, windows, u"Device", u"not saved");
    machine.SetString(HKCU, u"Software\\Other", u"n", u"not saved");
}

/// The places of the sections in the text, each once and in the order of the table.
void ExpectAllSectionsInOrder(const std::string& text) {
    std::size_t last = 0;
    for (const auto& [root, key] : kParts) {
        const std::string line =
            "[" + ToUtf8(RegistryAccess::RootName(root).append(u"\\").append(key)) + "]\r\n";
        const std::size_t at = text.find(line);
        EXPECT_TRUE(at != std::string::npos && at > last) << line;
        EXPECT_EQ(text.find(line, at + 1), std::string::npos) << line;
        last = at;
    }
    const std::size_t libraries = text.find("\"AppInit_DLLs\"=\"a.dll\"\r\n");
    EXPECT_TRUE(libraries != std::string::npos && libraries > last);
    EXPECT_EQ(text.find("not saved"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\r\n"));
}

TEST(RegistryBackup, SavesAllPartsInOrderInTheFamilysForm) {
    EngineFixture nt;
    Fill(nt.machine);
    const std::string registryBefore = DumpRegistry(nt.machine);
    EXPECT_EQ(ToUtf8(WriteRegistryBackup(kProgramFolder)), ToUtf8(kBackup));
    const std::string text = WideTextOf(nt, kBackup);
    EXPECT_TRUE(text.starts_with("Windows Registry Editor Version 5.00\r\n"));
    ExpectAllSectionsInOrder(text);
    EXPECT_NE(text.find("\"n\"=\"v\xC3\xA9\""), std::string::npos);
    EXPECT_EQ(DumpRegistry(nt.machine), registryBefore);
}

TEST(RegistryBackup, WritesTheCodePageOn9x) {
    EngineFixture old(WindowsFamily::Windows9x);
    old.machine.SetCodePage(1251);
    Fill(old.machine);
    old.machine.SetString(HKCU, u"Software\\Microsoft\\Internet Explorer\\Main", u"Ж",
                          u"\u0416\u4E00");
    WriteRegistryBackup(kProgramFolder);
    const std::string text = BytesOf(old, kBackup);
    EXPECT_TRUE(text.starts_with("REGEDIT4\r\n"));
    ExpectAllSectionsInOrder(text);
    EXPECT_NE(text.find("\"\xC6\"="), std::string::npos);
    EXPECT_EQ(text.find('\0'), std::string::npos);
}

TEST(RegistryBackup, AMachineWithoutTheKeysLeavesTheHeader) {
    EngineFixture nt;
    WriteRegistryBackup(kProgramFolder);
    EXPECT_EQ(WideTextOf(nt, kBackup), "Windows Registry Editor Version 5.00\r\n");
    EngineFixture old(WindowsFamily::Windows9x);
    WriteRegistryBackup(kProgramFolder);
    EXPECT_EQ(BytesOf(old, kBackup), "REGEDIT4\r\n");
}

TEST(RegistryBackup, NamesFilesByTheSecondAndReplacesWithinIt) {
    EngineFixture fixture;
    const struct {
        CivilTime now;
        const char* name;
    } rows[] = {
        {{2026, 1, 2, 3, 4, 5, 0}, "Backup Jan 02, 2026 03-04-05.reg"},
        {{2026, 1, 2, 3, 4, 5, 999}, "Backup Jan 02, 2026 03-04-05.reg"},
        {{2026, 12, 31, 23, 59, 59, 0}, "Backup Dec 31, 2026 23-59-59.reg"},
    };
    for (const auto& row : rows) {
        fixture.machine.SetNow(ToDate(row.now));
        const std::string file = ToUtf8(WriteRegistryBackup(kProgramFolder));
        EXPECT_EQ(file.substr(file.rfind('\\') + 1), row.name);
    }
    const std::string files = DumpFiles(fixture.machine);
    EXPECT_EQ(files.find("Jan 02"), files.rfind("Jan 02"));
}

TEST(RegistryBackup, AFolderThatCannotBeMadeIsAnErrorAndKeepsWhatStandsThere) {
    EngineFixture fixture;
    fixture.machine.AddFile(u"C:\\Program Files\\Brackenfold\\Backup", "mine");
    const std::string before = Dump(fixture.machine);
    EXPECT_THROW(WriteRegistryBackup(kProgramFolder), RuntimeError);
    EXPECT_THROW(WriteRegistryBackup(u"Q:\\nowhere"), RuntimeError);
    EXPECT_EQ(Dump(fixture.machine), before);
}

}  // namespace
}  // namespace bkfd
