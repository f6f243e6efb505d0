#include "services/RegistryAccess.h"

#include <gmock/gmock.h>

#include "base/Utf16Bytes.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

constexpr RegistryRoot kUser = RegistryRoot::CurrentUser;

class RegistryAccessTest : public testing::Test {
  protected:
    MemoryMachine machine_{WindowsFamily::NT};
    InstalledMachine installed_{machine_};
    RegistryAccess registry_;
};

TEST_F(RegistryAccessTest, ReadsWhateverIsStored) {
    using Type = RegistryType;
    using namespace std::string_view_literals;
    const struct {
        const char* label;
        RegistryValue stored;
        TextView text;
        std::int32_t number;
    } rows[] = {
        {"text", {Type::String, ToUtf16Bytes(u"ab\0"sv)}, u"ab", 0},
        {"without NUL", {Type::String, ToUtf16Bytes(u"ab")}, u"ab", 0},
        {"odd byte", {Type::String, {'a', 0, 'b', 0, 'c'}}, u"ab", 0},
        {"one byte", {Type::String, {'a'}}, u"", 0},
        {"nothing", {Type::String, {}}, u"", 0},
        {"behind the first NUL", {Type::String, ToUtf16Bytes(u"ab\0cd\0"sv)}, u"ab", 0},
        {"unexpanded", {Type::ExpandString, ToUtf16Bytes(u"%a%\0"sv)}, u"%a%", 0},
        {"first of many", {Type::MultiString, ToUtf16Bytes(u"a\0b\0\0"sv)}, u"a", 0},
        {"binary", {Type::Binary, ToUtf16Bytes(u"ab")}, u"", 0},
        {"number", {Type::Dword, {0xFE, 0xFF, 0xFF, 0xFF}}, u"", -2},
        {"short number", {Type::Dword, {1, 0, 0}}, u"", 0},
        {"unknown type", {static_cast<Type>(0xFFFF), {1, 0, 0, 0}}, u"", 0},
    };
    for (const auto& row : rows) {
        machine_.SetValue(kUser, u"Key", u"value", row.stored);
        Text text = u"left over";
        std::int32_t number = 99;
        const bool readText = registry_.ReadString(kUser, u"KEY", u"Value", text).IsOk();
        const bool readNumber = registry_.ReadDword(kUser, u"KEY", u"Value", number).IsOk();
        EXPECT_EQ(ToUtf8(text), ToUtf8(row.text)) << row.label;
        EXPECT_EQ(number, row.number) << row.label;
        EXPECT_FALSE(readText && readNumber) << row.label;
    }
    Text text = u"left over";
    EXPECT_TRUE(registry_.ReadString(kUser, u"Key", u"absent", text).IsNotThere());
    EXPECT_EQ(text, u"");
    machine_.DenyRead(kUser, u"Key");
    EXPECT_EQ(registry_.ReadString(kUser, u"Key", u"value", text).code, SystemError::AccessDenied);
    EXPECT_EQ(registry_.EnumValues(kUser, u"Key").Count(), 0);
}

TEST_F(RegistryAccessTest, DeletesTrees) {
    const char* const all = "A A\\B A\\B\\1 A\\B\\1\\2 A\\B\\3 A\\Z ";
    const struct {
        const char* label;
        TextView deleted;
        TextView denied;
        bool result;
        const char* left;
    } rows[] = {{"a tree", u"A\\B", u"", true, "A A\\Z "},
                {"absent", u"A\\X", u"", false, all},
                {"a child refuses", u"A\\B", u"A\\B\\3", false, "A A\\B A\\B\\3 A\\Z "},
                {"an empty last name", u"A\\", u"", false, all},
                {"a root", u"", u"", false, all}};
    for (const auto& row : rows) {
        MemoryMachine machine(WindowsFamily::NT);
        const InstalledMachine installed(machine);
        const TextView keys[] = {u"A", u"A\\B", u"A\\B\\1", u"A\\B\\1\\2", u"A\\B\\3", u"A\\Z"};
        for (const TextView key : keys) machine.AddKey(kUser, key);
        if (!row.denied.empty()) machine.DenyWrite(kUser, row.denied);
        EXPECT_EQ(registry_.DeleteKey(kUser, row.deleted), row.result) << row.label;
        std::string left;
        for (const TextView key : keys) {
            if (machine.HasKey(kUser, key)) left += ToUtf8(key) + " ";
        }
        EXPECT_EQ(left, row.left) << row.label;
    }
}

TEST_F(RegistryAccessTest, ExportsWhatItCan) {
    machine_.SetString(kUser, u"Soft", u"", u"default");
    machine_.SetString(kUser, u"Soft", u"quo\"te", u"C:\\a");
    machine_.SetDword(kUser, u"Soft\\Sub", u"n", 255);
    machine_.SetString(kUser, u"Soft\\Hidden", u"x", u"y");
    machine_.DenyRead(kUser, u"Soft\\Hidden");
    const std::string text = ToUtf8(registry_.ExportKey(kUser, u"Soft"));
    EXPECT_THAT(text, testing::StartsWith("[HKEY_CURRENT_USER\\Soft]\r\n@=\"default\"\r\n"
                                          "\"quo\\\"te\"=\"C:\\\\a\"\r\n\r\n"));
    for (const char* part :
         {"[HKEY_CURRENT_USER\\Soft\\Sub]\r\n\"n\"=dword:000000ff\r\n\r\n",
          "; Values not readable: HKEY_CURRENT_USER\\Soft\\Hidden (error 5)\r\n"}) {
        EXPECT_THAT(text, testing::HasSubstr(part));
    }
    EXPECT_EQ(ToUtf8(registry_.ExportValue(kUser, u"Soft", u"QUO\"TE")),
              "[HKEY_CURRENT_USER\\Soft]\r\n\"QUO\\\"TE\"=\"C:\\\\a\"\r\n\r\n");
    EXPECT_EQ(registry_.ExportKey(kUser, u"Absent"), u"");
    EXPECT_EQ(registry_.ExportValue(kUser, u"Soft", u"absent"), u"");
}

TEST_F(RegistryAccessTest, ExportsForWindows9xInTheCodePage) {
    MemoryMachine machine(WindowsFamily::Windows9x);
    const InstalledMachine installed(machine);
    machine.SetCodePage(1251);
    machine.SetString(kUser, u"\u041A", u"a", u"\u0416");
    EXPECT_EQ(registry_.ExportKey(kUser, u"\u041A"),
              u"[HKEY_CURRENT_USER\\\u00CA]\r\n\"a\"=\"\u00C6\"\r\n\r\n");
}

TEST_F(RegistryAccessTest, DepthIsBounded) {
    Text key = u"k";
    for (int i = 0; i < kRegistryDepthLimit + 5; ++i) key += u"\\k";
    machine_.AddKey(kUser, key);
    const Text text = registry_.ExportKey(kUser, u"k");
    EXPECT_NE(text.find(u"; Too deep: HKEY_CURRENT_USER\\k"), Text::npos);
    EXPECT_FALSE(registry_.DeleteKey(kUser, u"k"));
    EXPECT_TRUE(machine_.HasKey(kUser, key));
}

}  // namespace
}  // namespace bkfd
