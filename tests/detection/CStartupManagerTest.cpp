#include "detection/CStartupManager.h"

#include <gtest/gtest.h>

#include <set>

#include "common/DetectionFixture.h"

namespace bkfd {
namespace {

const Text kVersionKey = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\";
const Text kPolicyKey = kVersionKey + u"policies\\Explorer\\Run";

struct Startup : CStartupManager {
    explicit Startup(const DetectionFixture& fixture) { Init(fixture.log); }

    /// The params of each item, a line each.
    std::string Items() {
        const auto list = EnumItems();
        if (list == nullptr) return "no list";
        std::string text;
        for (const auto& item : *list) text += ParamsOf(*item) + '\n';
        return text;
    }
};

TEST(CStartupManager, VisitsAllPlacesInOrder) {
    DetectionFixture fixture;
    for (const char16_t* key : {u"Run", u"RunServices", u"RunOnce", u"RunOnce\\Setup",
                                u"RunServicesOnce", u"policies\\Explorer\\Run"}) {
        for (const RegistryRoot root : {HKLM, HKCU}) {
            fixture.machine.SetString(root, kVersionKey + key, u"v", u"C:\\x.exe");
        }
    }
    Startup startup(fixture);
    const auto items = startup.EnumItems();
    std::string places;
    std::set<Text> ids;
    for (const auto& item : Walk(items)) {
        places += ToUtf8(item->params(u"Key").Values(1).AsText()) + ' ' +
                  ToUtf8(item->params(u"Hive").Values(1).AsText().substr(kVersionKey.size())) +
                  '\n';
        ids.insert(item->Id);
    }
    // "Key" is the root's handle and "Hive" the key's path: the other way round than one expects.
    EXPECT_EQ(places,
              "-2147483646 Run\n-2147483647 Run\n"
              "-2147483646 RunServices\n-2147483647 RunServices\n"
              "-2147483646 RunOnce\n-2147483647 RunOnce\n"
              "-2147483646 RunOnce\\Setup\n"
              "-2147483646 RunServicesOnce\n-2147483647 RunServicesOnce\n"
              "-2147483646 policies\\Explorer\\Run\n-2147483647 policies\\Explorer\\Run\n");
    EXPECT_EQ(ids.size(), 11U);
}

TEST(CStartupManager, DescribesItems) {
    const VersionStrings none;
    const VersionStrings described{{u"FileDescription", u"Tool"}, {u"CompanyName", u"Maker"}};
    const VersionStrings product{{u"ProductName", u"Suite"}, {u"ProductDescription", u"All of it"}};
    VersionStrings both = described;
    both.emplace_back(u"ProductName", u"Suite");
    const struct {
        const char* label;
        bool isPolicy;
        const char16_t* data;
        const VersionStrings& fields;
        const char* item;  // %K% stands for root and key
    } rows[] = {
        {"a described file", false, u"C:\\a b\\x.exe /min", described,
         "Name=Tool, DLL=C:\\a b\\x.exe, Manufacturer=Maker, %K%, ValueName=v, Icon=IE\n"},
        {"a plain file", false, u"C:\\a b\\x.exe", none,
         "Name=v, DLL=C:\\a b\\x.exe, Manufacturer=, %K%, ValueName=v, Icon=IE\n"},
        {"no data", false, u"", none, ""},
        {"data without a file", false, u"/min", none, ""},
        {"a described file", true, u"C:\\a b\\x.exe /min", both,
         "Name=Tool, DLL=C:\\a b\\x.exe, %K%, ValueName=v, Manufacturer=Maker, Icon=IE\n"},
        {"a product's description", true, u"C:\\a b\\x.exe", product,
         "Name=All of it, DLL=C:\\a b\\x.exe, %K%, ValueName=v, Manufacturer=, Icon=IE\n"},
        {"a plain file", true, u"C:\\a b\\x.exe -a", none,
         "Name=C:\\a b\\x.exe -a, DLL=C:\\a b\\x.exe, %K%, ValueName=v, Manufacturer=, Icon=IE\n"},
        {"no data", true, u"", none,
         "Name=Your description here..., DLL=, %K%, ValueName=v, Manufacturer=, Icon=IE\n"},
        {"data without a file", true, u"/min", none,
         "Name=/min, DLL=, %K%, ValueName=v, Manufacturer=, Icon=IE\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.label) + (row.isPolicy ? ", policy" : ""));
        DetectionFixture fixture;
        fixture.machine.AddFile(u"C:\\a b\\x.exe", FileWithVersion(row.fields));
        const Text key = row.isPolicy ? kPolicyKey : kRun;
        fixture.machine.SetString(HKLM, key, u"v", row.data);
        std::string expected = row.item;
        if (const auto at = expected.find("%K%"); at != std::string::npos) {
            expected.replace(at, 3, "Key=-2147483646, Hive=" + ToUtf8(key));
        }
        Startup startup(fixture);
        EXPECT_EQ(startup.Items(), expected);
        EXPECT_EQ(fixture.log->text, "");
    }
}

TEST(CStartupManager, MarksTheProgramsOfWindowsItself) {
    const struct {
        const char16_t* path;
        const char16_t* manufacturer;
        bool isKnownOnNT;
        bool isKnownOn9x;
    } rows[] = {
        {u"%sys%CTFMON.EXE", u"Microsoft Corporation", true, true},
        {u"%sys%ctfmon.exe", u"MICROSOFT CORPORATION", false, false},
        {u"%sys%ctfmon.exe", u"Microsoft Corporation.", false, false},
        {u"C:\\ctfmon.exe", u"Microsoft Corporation", false, false},
        {u"C:\\Program Files\\Messenger\\msmsgs.exe", u"Microsoft Corporation", true, true},
        {u"%sys%internat.exe", u"Microsoft Corporation", true, false},
        {u"%sys%powrprof.dll", u"Microsoft Corporation", false, true},
        {u"%win%scanregw.exe", u"Microsoft Corporation", false, true},
        {u"%sys%systray.exe", u"Microsoft Corporation", false, true},
        {u"%win%taskmon.exe", u"Microsoft Corporation", false, true},
        {u"%sys%mstask.exe", u"Microsoft Corporation", false, true},
        {u"%win%mstask.exe", u"Microsoft Corporation", false, false},
    };
    for (const auto family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        for (const auto& row : rows) {
            DetectionFixture fixture(family);
            const Text path =
                Replace(Replace(row.path, u"%sys%", gSystemPath), u"%win%", gWindowsPath);
            fixture.machine.AddFile(path, FileWithVersion({{u"CompanyName", row.manufacturer}}));
            fixture.machine.SetString(HKCU, kRun, u"v", u"\"" + path + u"\"");
            const bool isKnown = family == WindowsFamily::NT ? row.isKnownOnNT : row.isKnownOn9x;
            Startup startup(fixture);
            const auto items = startup.EnumItems();
            const auto& item = **Walk(items).begin();
            EXPECT_EQ(item.params(u"Icon").Values(1).AsText(), isKnown ? u"OK" : u"IE")
                << ToUtf8(path);
        }
    }
}

TEST(CStartupManager, SkipsTheRestOfAKeyBehindABrokenValue) {
    DetectionFixture fixture;
    fixture.machine.SetString(HKLM, kRun, u"a", u"C:\\a.exe");
    fixture.machine.SetString(HKLM, kRun, u"b", u"\"");
    fixture.machine.SetString(HKLM, kRun, u"c", u"C:\\c.exe");
    fixture.machine.SetString(HKCU, kRun, u"d", u"C:\\d.exe");
    Startup startup(fixture);
    const auto items = startup.EnumItems();
    std::string files;
    for (const auto& item : Walk(items)) files += ToUtf8(item->params(u"DLL").Values(1).AsText());
    EXPECT_EQ(files, "C:\\a.exeC:\\d.exe");
    EXPECT_TRUE(fixture.log->text.starts_with("5 4 CStartupManager.FillItemInfo: "))
        << fixture.log->text;

    fixture.log->text.clear();
    startup.RemoveStartup(u"C:\\c.exe");
    startup.RemoveStartup(u"c:\\D.EXE");
    EXPECT_TRUE(fixture.machine.HasValue(HKLM, kRun, u"c"));
    EXPECT_FALSE(fixture.machine.HasValue(HKCU, kRun, u"d"));
}

TEST(CStartupManager, RemovesWhatStartsAFile) {
    DetectionFixture fixture;
    auto& machine = fixture.machine;
    machine.AddFile(u"C:\\WINDOWS\\bad.exe");
    machine.SetString(HKLM, kRun, u"one", u"C:\\windows\\BAD.EXE /x");
    machine.SetString(HKLM, kRun, u"two", u"C:\\WINDOWS\\bad.exe.exe");
    machine.SetString(HKCU, kVersionKey + u"RunOnce", u"by its bare name", u"bad.exe");
    machine.SetString(HKCU, kVersionKey + u"RunOnce", u"nothing", u"");
    machine.SetString(HKCU, kPolicyKey, u"%2", u"\"C:\\WINDOWS\\bad.exe\" -p");
    machine.SetString(HKCU, kPolicyKey, u"nothing", u"");
    Startup startup(fixture);
    startup.RemoveStartup(u"c:\\windows\\bad.exe");
    EXPECT_EQ(
        fixture.log->text,
        "5 CStartupManager.RemoveItemInfo: Deleted: 'HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\"
        "Windows\\CurrentVersion\\Run', 'one', 'C:\\windows\\BAD.EXE /x'\n"
        "5 CStartupManager.RemoveItemInfo: Deleted: 'HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\"
        "Windows\\CurrentVersion\\RunOnce', 'by its bare name', 'bad.exe'\n"
        "5 CStartupManager.RemovePolicyInfo: Deleted: 'HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\"
        "Windows\\CurrentVersion\\policies\\Explorer\\Run', '%2', "
        "'\"C:\\WINDOWS\\bad.exe\" -p'\n");
    EXPECT_EQ(DumpRegistry(machine).find("one"), std::string::npos);
    EXPECT_TRUE(machine.HasValue(HKLM, kRun, u"two"));
    EXPECT_TRUE(machine.HasValue(HKCU, kVersionKey + u"RunOnce", u"nothing"));
    EXPECT_FALSE(machine.HasValue(HKCU, kVersionKey + u"RunOnce", u"by its bare name"));
    EXPECT_TRUE(machine.HasValue(HKCU, kPolicyKey, u"nothing"));
    EXPECT_FALSE(machine.HasValue(HKCU, kPolicyKey, u"%2"));
}

TEST(CStartupManager, SaysDeletedEvenWhereItWasRefusedAndThenTellsOfThat) {
    DetectionFixture fixture;
    fixture.machine.SetString(HKLM, kRun, u"v", u"C:\\bad.exe");
    fixture.machine.DenyWrite(HKLM, kVersionKey + u"Run");
    Startup startup(fixture);
    startup.RemoveStartup(u"C:\\bad.exe");
    EXPECT_TRUE(fixture.machine.HasValue(HKLM, kRun, u"v"));
    EXPECT_TRUE(fixture.log->text.starts_with("5 CStartupManager.RemoveItemInfo: Deleted: '"));
    EXPECT_TRUE(fixture.log->text.ends_with(
        "\n0 CStartupManager.RemoveItemInfo: Cannot delete 'HKEY_LOCAL_MACHINE\\SOFTWARE\\"
        "Microsoft\\Windows\\CurrentVersion\\Run\\v'. Access is denied.\n"))
        << fixture.log->text;
}

TEST(CStartupManager, LogsAFailureOfTheWholeRemoval) {
    DetectionFixture fixture;
    Startup startup(fixture);
    fixture.spy.RunOutOfMemoryAt("RegEnumValueW");
    startup.RemoveStartup(u"C:\\bad.exe");
    EXPECT_TRUE(fixture.log->text.starts_with("7 4 CStartupManager.RemoveStartup: "))
        << fixture.log->text;
}

}  // namespace
}  // namespace bkfd
