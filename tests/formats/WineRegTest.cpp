#include "formats/WineReg.h"

#include <gtest/gtest.h>

#include "formats/RegistryDump.h"

namespace bkfd {
namespace {

const std::string kFirst = "WINE REGISTRY Version 2\n";

ByteView View(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string Dump(const std::string& text) {
    RegistryDump dump;
    WalkWineReg(View(text), dump);
    return dump.text;
}

/// As Wine's server writes it.
const std::string kSample = kFirst + R"(;; All keys relative to \\Machine

#arch=win64

[Software\\Wine] 1700000000
#time=1da165bc18c9a80
#class="Shell"
@="default"
"a\"b\\c"="tab\there\x20ac\x00e4f\1end"
"Binary"=hex:01,02,\
  03
"Expand"=str(2):"%windir%\0"
"Link"=hex(6):5c,00
"Multi"=str(7):"a\0b\0"
"Number"=dword:0000001f
"None"=hex(0):

[Software\\Wine\\Link] 1700000001
#link
)";

TEST(WineReg, TellsKeysAndValues) {
    EXPECT_EQ(Dump(kSample),
              "\\Software\\Wine\n"
              "   1 640065006600610075006c0074000000\n"
              "  a\"b\\c 1 74006100620009006800650072006500ac20e4006600010065006e0064000000\n"
              "  Binary 3 010203\n"
              "  Expand 2 2500770069006e00640069007200250000000000\n"
              "  Link 6 5c00\n"
              "  Multi 7 6100000062000000"
              "0000\n"
              "  Number 4 1f000000\n"
              "  None 0 \n"
              "\\Software\\Wine\\Link\n");
    EXPECT_EQ(Dump(kFirst + "[]\n@=\"\"\n"), "\n   1 0000\n");
}

TEST(WineReg, ReadsValuesAsWineDoes) {
    const struct {
        const char* label;
        const char* line;
        const char* told;
    } rows[] = {
        {"blanks", " \t\"v\" = \"a\"", "  v 1 61000000\n"},
        {"text of an old form", "\"v\"=str:\"a\"", "  v 1 61000000\n"},
        {"octal before a digit", "\"v\"=\"\\0019\"", "  v 1 010039000000\n"},
        {"hexadecimal without digits", "\"v\"=\"\\xg\"",
         "  v 1 7800670000"
         "00\n"},
        {"a lone surrogate", "\"v\"=\"\\xd800\"", "  v 1 00d80000\n"},
        {"UTF-8", "\"v\"=\"\xC3\xA4\xFF\\\xC3\xA4\"", "  v 1 e400e4000000\n"},
        {"a type in hexadecimal", "\"v\"=hex(1f):00", "  v 31 00\n"},
        {"data without commas at the end", "\"v\"=hex:1 , 2,", "  v 3 0102\n"},
        {"behind the end of text", "\"v\"=\"a\" ; b", "  v 1 61000000\n"},
        {"a comment", "; comment", ""},
        {"an unknown option", "#unknown", ""},
        {"no =", "\"v\" \"a\"", "! \\k: line 3: there is no = behind the value's name\n"},
        {"name not closed", "\"v=1", "! \\k: line 3: the value's name is not closed\n"},
        {"text not closed", "\"v\"=\"a\\\"", "! \\k: line 3: the value's data is malformed\n"},
        {"unknown data", "\"v\"=a", "! \\k: line 3: the value's data is malformed\n"},
        {"no number", "\"v\"=dword:x", "! \\k: line 3: a number is missing\n"},
        {"a large byte", "\"v\"=hex:100", "! \\k: line 3: a byte of the data is too large\n"},
        {"no type", "\"v\"=hex():1", "! \\k: line 3: the data's type is malformed\n"},
        {"data that isn't continued", "\"v\"=hex:1,\\",
         "! \\k: line 3: the value's data is malformed\n"},
        {"a class not closed", "#class=\"a", "! \\k: line 3: the class is not closed\n"},
        {"rubbish", "rubbish",
         "! \\k: line 3: it is neither a key, a value, an option nor a comment\n"},
        {"a key not closed", "[a\n@=\"b\"",
         "! \\k: line 3: the key's name has no closing bracket\n"
         "! \\k: line 4: a value stands behind no key\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(Dump(kFirst + "[k]\r\n" + row.line), "\\k\n" + std::string(row.told));
    }
}

TEST(WineReg, GivesEveryLineWithItsMeaningAndItsBytes) {
    using Kind = WineRegKind;
    const Kind kinds[] = {Kind::Other, Kind::Other, Kind::Other, Kind::Arch,  Kind::Other,
                          Kind::Key,   Kind::Time,  Kind::Class, Kind::Value, Kind::Value,
                          Kind::Value, Kind::Value, Kind::Value, Kind::Value, Kind::Value,
                          Kind::Value, Kind::Other, Kind::Key,   Kind::Link};
    WineRegReader reader(View(kSample));
    WineRegItem item;
    std::size_t end = 0;
    for (const Kind kind : kinds) {
        ASSERT_TRUE(reader.Next(item));
        EXPECT_EQ(item.kind, kind) << item.number;
        EXPECT_EQ(item.begin, end);
        end = item.end;
        if (item.number == 4) EXPECT_EQ(item.name, u"win64");
        if (item.number == 6) EXPECT_EQ(item.time, 1'700'000'000U);
        if (item.number == 7) EXPECT_EQ(item.time, 0x1da165bc18c9a80U);
        if (item.number == 8) EXPECT_EQ(item.name, u"Shell");
    }
    EXPECT_FALSE(reader.Next(item));
    EXPECT_EQ(end, kSample.size());
}

TEST(WineReg, IsKnownByItsFirstLine) {
    EXPECT_TRUE(WineRegReader::IsWineReg(View("WINE REGISTRY Version 2")));
    EXPECT_TRUE(WineRegReader::IsWineReg(View("WINE REGISTRY Version 2\r\n")));
    EXPECT_FALSE(WineRegReader::IsWineReg(View("WINE REGISTRY Version 21\n")));
    EXPECT_FALSE(WineRegReader::IsWineReg({}));
}

TEST(WineReg, SurvivesEveryCutAndEveryByte) {
    for (std::size_t length = 0; length < kSample.size(); ++length) {
        const std::vector<char> exact(kSample.begin(),
                                      kSample.begin() + static_cast<std::ptrdiff_t>(length));
        RegistryDump dump;
        WalkWineReg({reinterpret_cast<const std::uint8_t*>(exact.data()), length}, dump);
        EXPECT_LE(dump.keys, 2U);
    }
    std::string text = kSample;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const int value : {0x00, 0xFF, kSample[at] ^ 0x41}) {
            text[at] = static_cast<char>(value);
            EXPECT_LE(Dump(text).size(), 1000U) << at;
        }
        text[at] = kSample[at];
    }
}

}  // namespace
}  // namespace bkfd
