#include <gtest/gtest.h>

#include <random>

#include "base/Utf16Bytes.h"
#include "formats/CregSample.h"
#include "formats/RegistryDump.h"
#include "formats/WineReg.h"
#include "platform/RegistryValues.h"
#include "platform/volume/CregStore.h"
#include "platform/volume/VolumeRegistry.h"
#include "platform/volume/WineStore.h"

namespace bkfd {
namespace {

constexpr std::uint64_t kNow = 132'000'000'000'000'000;  // in 2019
const std::string kTime = " 1555526400\n#time=1d4f54cf65a0000\n";

const std::string kPrefix =
    "WINE REGISTRY Version 2\n"
    ";; All keys relative to \\\\Machine\n"
    "\n"
    "#arch=win64\n"
    "\n"
    "[Software\\\\Run] 1700000000\n"
    "#time=1da165bc18c9a80\n"
    "#class=\"Shell\"\n"
    "@=\"default\"\n"
    "\"A\"=\"first\"\n"
    "; kept\n"
    "\"Bytes\"=hex:01,02,\\\n  03\n"
    "what is this\n"
    "\n"
    "[System\\\\Current] 1700000001\n"
    "#link\n"
    "\"SymbolicLinkValue\"=hex(6):5c,00,52,00,5c,00,53,00,79,00,73,00,74,00,65,00,6d,00,5c,\\\n"
    "  00,53,00,31,00\n"
    "\n"
    "[System\\\\S1\\\\Deep] 1700000002\n"
    "\"v\"=dword:00000001\n";

WineStore Prefix(std::string content = kPrefix) {
    return WineStore(std::move(content), u"\\R", [] { return kNow; });
}

/// `kPrefix` with one piece of it replaced.
std::string With(const std::string& old, const std::string& fresh) {
    std::string text = kPrefix;
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return text.replace(at, old.size(), fresh);
}

TEST(WineStore, ChangesOnlyTheLinesOfAChange) {
    const std::string run = "[Software\\\\Run]";
    const std::string runTime = run + " 1700000000\n#time=1da165bc18c9a80\n";
    std::string touched = kPrefix;
    touched.replace(touched.find(runTime), runTime.size(), run + kTime);
    const auto with = [&](const std::string& old, const std::string& fresh) {
        std::string text = touched;
        return text.replace(text.find(old), old.size(), fresh);
    };
    const struct {
        const char* label;
        std::function<Status(WineStore&)> change;
        std::string after;
    } rows[] = {
        {"a value is set",
         [](WineStore& store) {
             return store.SetValue(u"software\\RUN", u"a", MakeStringValue(u"é\x7fg"));
         },
         with("\"A\"=\"first\"", "\"A\"=\"\\xe9\\x7fg\"")},
        {"a value is added behind the others",
         [](WineStore& store) {
             return store.SetValue(u"Software\\Run", u"q\"[", {RegistryType{11}, {1, 2}});
         },
         with("  03\n", "  03\n\"q\\\"[\"=hex(b):01,02\n")},
        {"a value with its second line is deleted",
         [](WineStore& store) { return store.DeleteValue(u"Software\\Run", u"BYTES"); },
         with("\"Bytes\"=hex:01,02,\\\n  03\n", "")},
        {"the default value is deleted",
         [](WineStore& store) { return store.DeleteValue(u"Software\\Run", u""); },
         with("@=\"default\"\n", "")},
        {"a key of one level that another stands in",
         [](WineStore& store) { return store.DeleteKey(u"System\\S1\\Deep"); },
         With("[System\\\\S1\\\\Deep] 1700000002\n\"v\"=dword:00000001\n",
              "[System\\\\S1]" + kTime + "\n")},
        {"a key is made through a link, in its place",
         [](WineStore& store) { return store.MakeKey(u"System\\Current\\New\\a]"); },
         kPrefix + "\n[System\\\\S1\\\\New]" + kTime + "\n[System\\\\S1\\\\New\\\\a\\]]" + kTime +
             "\n"},
        {"a link is deleted itself",
         [](WineStore& store) { return store.DeleteKey(u"System\\Current"); },
         kPrefix.substr(0, kPrefix.find("[System\\\\Current]")) +
             kPrefix.substr(kPrefix.find("[System\\\\S1"))},
        {"a key with keys stays",
         [](WineStore& store) {
             EXPECT_EQ(store.DeleteKey(u"System\\S1").code, SystemError::AccessDenied);
             EXPECT_FALSE(store.IsChanged());
             return Status();
         },
         kPrefix},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        WineStore store = Prefix();
        EXPECT_EQ(store.Content(), kPrefix);
        EXPECT_TRUE(row.change(store).IsOk());
        EXPECT_EQ(store.Content(), row.after);
        EXPECT_EQ(store.IsChanged(), row.after != kPrefix);
    }
    EXPECT_EQ(
        Prefix().Problems(),
        std::vector<std::string>{"line 14: it is neither a key, a value, an option nor a comment"});
}

std::string DumpOf(const std::string& content) {
    RegistryDump dump;
    WalkWineReg({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, dump);
    return dump.text;
}

/// Names, types and data of all kinds come back from the text, and from a second reading of it.
TEST(WineStore, TellsWhenKeysWereWritten) {
    WineStore store = Prefix(
        "WINE REGISTRY Version 2\n[A] 1700000000\n#time=1da165bc18c9a80\n"
        "[B\\\\Below] 1700000000\n[A] 1600000000\n[Far] 99999999999999\n");
    ASSERT_TRUE(store.SetValue(u"New\\Key", u"v", {RegistryType::Dword, Bytes(4)}).IsOk());
    const struct {
        TextView key;
        std::uint64_t time;
    } rows[] = {{u"a", 0x1da165bc18c9a80},
                {u"B\\Below", 133444736000000000},
                {u"B", 0},
                {u"Far", 0},
                {u"New\\Key", kNow}};
    for (const auto& row : rows) {
        const auto time = store.LastWritten(row.key);
        EXPECT_TRUE(time.IsOk());
        EXPECT_EQ(time.value, row.time) << ToUtf8(row.key);
    }
    EXPECT_TRUE(store.LastWritten(u"None").IsNotThere());
}

TEST(WineStore, KeepsWhatItIsGiven) {
    std::mt19937 random(7);
    const auto unit = [&random] {
        constexpr TextView kUnits =
            u"aF7\\\"[]@=;#\n\t\x1b\x7f\u00e9\u0436\u202e\xD800\xDC00\x0001";
        return kUnits[random() % kUnits.size()];
    };
    WineStore store = Prefix("WINE REGISTRY Version 2\n");
    std::map<Text, RegistryValue> meant;
    for (int i = 0; i < 400; ++i) {
        Text name;
        for (auto count = random() % 6; count > 0; --count) name += unit();
        Text text;
        for (auto count = random() % 40; count > 0; --count) text += unit();
        if (random() % 3 != 0) text += u'\0';
        RegistryValue value{RegistryType{static_cast<std::uint32_t>(random() % 12)},
                            ToUtf16Bytes(text)};
        if (random() % 5 == 0) value.data.push_back(9);
        if (random() % 5 == 0) value = {RegistryType::Dword, {1, 2, 3, 4}};
        name = ToLower(name);
        ASSERT_TRUE(store.SetValue(u"K", name, value).IsOk());
        meant[name] = value;
    }
    WineStore again = Prefix(store.Content());
    EXPECT_TRUE(again.Problems().empty());
    for (const auto& [name, value] : meant) {
        EXPECT_EQ(store.QueryValue(u"K", name).value, value) << ToWtf8(name);
        EXPECT_EQ(again.QueryValue(u"K", name).value, value) << ToWtf8(name);
    }
    EXPECT_EQ(again.EnumValues(u"K").value.size(), meant.size());
}

TEST(WineStore, LastsThroughEveryCutOfAFile) {
    for (std::size_t length = kPrefix.find('\n'); length <= kPrefix.size(); ++length) {
        WineStore store = Prefix(kPrefix.substr(0, length));
        EXPECT_EQ(store.Content(), kPrefix.substr(0, length));
        ASSERT_TRUE(store.SetValue(u"Software\\Run", u"n", MakeStringValue(u"x")).IsOk());
        EXPECT_NE(DumpOf(store.Content()).find("  n 1 78000000\n"), std::string::npos) << length;
    }
}

TEST(WineStore, LinksLeadNowhereElse) {
    const std::string head = "WINE REGISTRY Version 2\n";
    const auto link = [](const char* name, TextView target) {
        std::string line = std::string("[") + name + "] 1\n#link\n\"SymbolicLinkValue\"=hex(6):";
        for (const std::uint8_t byte : ToUtf16Bytes(target)) {
            char room[4];
            std::snprintf(room, sizeof room, "%02x,", byte);
            line += room;
        }
        return line + "\n\n";
    };
    WineStore store = Prefix(head + link("a", u"\\R\\b") + link("b", u"\\R\\a") +
                             link("out", u"\\Registry\\User") + link("dead", u"\\R\\none"));
    for (const TextView key : {u"a", u"b\\c", u"out", u"dead"}) {
        EXPECT_TRUE(store.FindKey(key).IsNotThere()) << ToUtf8(key);
        EXPECT_FALSE(store.SetValue(key, u"v", {}).IsOk()) << ToUtf8(key);
    }
    EXPECT_FALSE(store.IsChanged());
}

TEST(CregStore, HasTextsAsProgramsGetThem) {
    std::vector<std::string> problems;
    const auto latin1 = [](std::string_view bytes) {
        Text text;
        for (const char byte : bytes) text += static_cast<unsigned char>(byte);
        return text;
    };
    const Bytes file = samples::CregFile();
    const auto store = LoadCregStore(file, latin1, problems);
    EXPECT_TRUE(problems.empty());
    EXPECT_EQ(store->EnumKeys(u"A").value, (std::vector<Text>{u"B", u"C"}));
    EXPECT_EQ(store->QueryValue(u"a", u"").value, MakeStringValue(u"text"));
    EXPECT_EQ(store->QueryValue(u"A", u"b\u00e4").value,
              (RegistryValue{RegistryType::Binary, {0, 1}}));
    EXPECT_EQ(store->QueryValue(u"A\\C", u"empty").value, MakeStringValue(u""));
    EXPECT_FALSE(LoadCregStore({}, latin1, problems)->EnumKeys(u"").value.size());
    EXPECT_EQ(problems.size(), 1U);
}

TEST(VolumeRegistry, ShowsStoresWhereTheyAreMounted) {
    using enum RegistryRoot;
    const auto tree = [](std::initializer_list<TextView> keys) {
        auto root = std::make_unique<RegistryKey>(Text());
        for (const TextView key : keys) root->Make(key).values.Set(u"v", MakeStringValue(key));
        return std::make_shared<TreeStore>(std::move(root));
    };
    const auto system = tree({u"ControlSet001\\Services", u"Select"});
    VolumeRegistry registry;
    registry.Mount(LocalMachine, u"SOFTWARE", tree({u"Classes\\x", u"Run"}));
    registry.Mount(LocalMachine, u"SYSTEM", system);
    registry.Mount(LocalMachine, u"SYSTEM\\CurrentControlSet", system, u"ControlSet001");
    registry.Mount(CurrentUser, u"", tree({u"Software\\Run"}));
    registry.Mount(CurrentUser, u"Software\\Classes", tree({u"y"}));
    registry.MountUnreadable(Users, u"S-1-5-18", {SystemError::RegistryCorrupt});

    EXPECT_EQ(registry.EnumKeys(LocalMachine, u"").value,
              (std::vector<Text>{u"SOFTWARE", u"SYSTEM"}));
    EXPECT_EQ(registry.EnumKeys(LocalMachine, u"System").value,
              (std::vector<Text>{u"CurrentControlSet", u"ControlSet001", u"Select"}));
    EXPECT_EQ(registry.EnumKeys(CurrentUser, u"software").value,
              (std::vector<Text>{u"Classes", u"Run"}));
    EXPECT_TRUE(registry.FindKey(LocalMachine, u"\\SYSTEM\\\\CurrentControlSet\\Services").IsOk());
    EXPECT_TRUE(registry.FindKey(LocalMachine, u"Hardware").IsNotThere());
    EXPECT_EQ(registry.FindKey(Users, u"S-1-5-18\\Software").code, SystemError::RegistryCorrupt);
    EXPECT_EQ(registry.DeleteKey(LocalMachine, u"SOFTWARE").code, SystemError::AccessDenied);
    EXPECT_EQ(registry.DeleteKey(CurrentUser, u"Software").code, SystemError::AccessDenied);
    EXPECT_EQ(registry.SetValue(LocalMachine, u"new", u"v", {}).code, SystemError::AccessDenied);

    // A change through one way is seen by the other, in a fork as well, which keeps it to itself.
    const auto fork = registry.Fork();
    ASSERT_TRUE(fork->SetValue(LocalMachine, u"SYSTEM\\CurrentControlSet\\Services\\a", u"v",
                               MakeStringValue(u"z"))
                    .IsOk());
    EXPECT_TRUE(fork->FindKey(LocalMachine, u"SYSTEM\\ControlSet001\\Services\\A").IsOk());
    EXPECT_TRUE(registry.FindKey(LocalMachine, u"SYSTEM\\ControlSet001\\Services\\A").IsNotThere());
}

}  // namespace
}  // namespace bkfd
