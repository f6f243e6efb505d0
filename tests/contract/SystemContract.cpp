#include <regex>
#include <set>

#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

TEST_P(MachineContract, VersionFactsAgree) {
    const std::uint32_t version = system_.GetVersion();
    const auto facts = system_.GetVersionExW();
    ASSERT_EQ(facts.code, 0u);
    EXPECT_EQ(facts.value.major, static_cast<std::int32_t>(version & 0xFF));
    EXPECT_EQ(facts.value.minor, static_cast<std::int32_t>(version >> 8 & 0xFF));
    EXPECT_EQ(facts.value.platformId, IsNT() ? WindowsPlatform::NT : WindowsPlatform::Windows9x);
    EXPECT_GT(facts.value.build, 0);
}

TEST_P(MachineContract, EnvironmentNamesAreExpanded) {
    const Text windows = system_.ExpandEnvironmentStringsW(u"%windir%");
    ASSERT_GE(windows.size(), 3u);
    EXPECT_EQ(windows[1], u':');
    const struct {
        TextView text;
        Text expanded;
    } rows[] = {
        {u"", u""},
        {u"plain", u"plain"},
        {u"%WinDir%\\x", windows + u"\\x"},
        {u"a%windir%%windir%b", u"a" + windows + windows + u"b"},
        {u"%no such name%", u"%no such name%"},
        {u"50% of %windir%", u"50% of " + windows},
        {u"100%", u"100%"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToUtf8(system_.ExpandEnvironmentStringsW(row.text)), ToUtf8(row.expanded));
    }
}

TEST_P(MachineContract, FoldersAndProgramAreAbsolute) {
    const Text folder = system_.GetTempPathW();
    ASSERT_GE(folder.size(), 3u);
    EXPECT_EQ(folder.back(), u'\\');
    EXPECT_EQ(folder[1], u':');
    EXPECT_EQ(system_.GetModuleFileNameW()[1], u':');
}

TEST_P(MachineContract, ErrorCodesHaveTexts) {
    std::set<Text> texts;
    const std::uint32_t codes[] = {2, 3, 5, 6, 32, 80, 87, 183, 1314};
    for (const std::uint32_t code : codes) {
        const Text text = system_.FormatMessageW(code);
        EXPECT_FALSE(text.empty()) << code;
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), std::size(codes));
    EXPECT_EQ(system_.FormatMessageW(0x2FFF'FFFF), u"");
}

TEST_P(MachineContract, CodePageConvertsBothWays) {
    const Text ascii = u"A:\\z.~%\u007F";
    EXPECT_EQ(system_.WideCharToMultiByte(ascii), "A:\\z.~%\x7F");
    EXPECT_EQ(system_.MultiByteToWideChar("A:\\z.~%\x7F"), ascii);
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(system_.WideCharToMultiByte(FromAscii(withNul)), withNul);
    EXPECT_EQ(system_.WideCharToMultiByte(u""), "");
    EXPECT_EQ(system_.MultiByteToWideChar(""), u"");
    // A rune, which the ANSI pages lack; the text around it stays.
    const std::string lossy = system_.WideCharToMultiByte(u"a\u16A0b");
    EXPECT_EQ(lossy.front(), 'a');
    EXPECT_EQ(lossy.back(), 'b');
}

TEST_P(MachineContract, MissingComponentsFail) {
    const ComponentClass missing{u"Brackenfold.NoSuchClass",
                                 u"{00000000-1111-2222-3333-444444444444}", u"nosuchfile.dll"};
    const auto object = machine_.ComponentObjects().CoCreateInstance(missing);
    EXPECT_NE(object.code, 0u);
    EXPECT_NE(object.code & 0x8000'0000, 0u);
    EXPECT_EQ(object.value, nullptr);
}

TEST_P(MachineContract, ClassesOfThisProcessAreFoundByFile) {
    const auto object = std::make_shared<Object>();
    machine_.ComponentObjects().CoRegisterClassObject(u"ContractClass.dll", [&] { return object; });
    const ComponentClass component{u"Brackenfold.ContractClass", u"", u"contractclass.DLL"};
    const auto made = machine_.ComponentObjects().CoCreateInstance(component);
    EXPECT_EQ(made.code, 0u);
    EXPECT_EQ(made.value, object);
}

TEST_P(MachineContract, IdentifiersAreFresh) {
    const Text one = machine_.ComponentObjects().CoCreateGuid();
    const Text other = machine_.ComponentObjects().CoCreateGuid();
    EXPECT_NE(one, other);
    const std::regex form("\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}");
    EXPECT_TRUE(std::regex_match(ToUtf8(one), form)) << ToUtf8(one);
}

}  // namespace
}  // namespace bkfd::contract
