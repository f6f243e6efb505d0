#include "formats/RegText.h"

#include <gtest/gtest.h>

#include "base/Utf16Bytes.h"

namespace bkfd {
namespace {

using namespace std::string_view_literals;

/// A code page of two-byte characters as well: 0x81 leads, and a backslash can follow it.
const RegCodePage kCodePage{
    [](std::string_view bytes) {
        Text text;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            char16_t unit = static_cast<unsigned char>(bytes[i]);
            if (unit == 0x81 && i + 1 < bytes.size()) {
                unit = static_cast<char16_t>(0x3000 + static_cast<unsigned char>(bytes[++i]));
            }
            text += unit;
        }
        return text;
    },
    [](TextView text) {
        std::string bytes;
        for (const char16_t unit : text) {
            if (unit >= 0x3000 && unit < 0x3100) bytes += '\x81';
            const bool isHeld = (unit < 0x100 && unit != 0x81) || (unit >= 0x3000 && unit < 0x3100);
            bytes += isHeld ? static_cast<char>(unit) : '?';
        }
        return bytes;
    }};

Bytes Utf8File(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes Utf16File(TextView text, bool hasMark = true) {
    return ToUtf16Bytes((hasMark ? u"\uFEFF" : u"") + Text(text));
}

/// A line for each key and entry, texts as the registry's bytes in hexadecimal; or the error.
std::string Describe(const std::variant<RegDocument, RegParseError>& result) {
    if (const auto* error = std::get_if<RegParseError>(&result)) {
        return std::to_string(error->line) + ": " + error->message;
    }
    std::string out;
    for (const RegSection& section : std::get<RegDocument>(result).sections) {
        out += (section.isDeletion ? "-[" : "[") + ToWtf8(section.key) + "]\n";
        for (const RegEntry& entry : section.entries) {
            out += ToWtf8(entry.name) + (entry.isDeletion ? " gone" : "");
            if (!entry.isDeletion) out += " " + std::to_string(entry.type) + ":";
            for (const std::uint8_t byte : entry.data) out += ToUtf8(Right(ToHex(byte), 2));
            out += "\n";
        }
    }
    return out;
}

std::string DescribeFile(const Bytes& file) {
    return Describe(ParseRegText(file, kCodePage));
}

constexpr std::string_view kHeader5 = "Windows Registry Editor Version 5.00\r\n\r\n[K]\r\n";

TEST(RegText, ParsesEntriesAndKeys) {
    const struct {
        const char* label;
        std::string text;
        std::string dump;
    } cases[] = {
        {"default value", "@=\"a\"", " 1:61000000\n"},
        {"empty text", "\"n\"=\"\"", "n 1:0000\n"},
        {"escapes", R"("a\\\"b"="\\\"")", "a\\\"b 1:5C0022000000\n"},
        {"the escapes of Wine's editor", R"("n"="\r\n\0")", "n 1:0D000A0000000000\n"},
        {"text over two lines", "\"n\"=\"a\r\nb\"", "n 1:61000D000A0062000000\n"},
        {"text over lines in LF", "\"n\"=\"a\n;b\"", "n 1:61000A003B0062000000\n"},
        {"name over two lines", "\"a\nb\"=-", "a\nb gone\n"},
        {"comment behind a text with a semicolon", "\"n\"=\"a;b\" ; c", "n 1:61003B0062000000\n"},
        {"number", "\"n\"=dword:0102aBcD", "n 4:CDAB0201\n"},
        {"short number with blanks", " \"n\" = dword: 1f\t", "n 4:1F000000\n"},
        {"binary", "\"n\"=hex:01,fF", "n 3:01FF\n"},
        {"binary of nothing", "\"n\"=hex:", "n 3:\n"},
        {"any type", "\"n\"=hex(ffffffff):00", "n 4294967295:00\n"},
        {"expandable text", "\"n\"=hex(2):41,00,00,00", "n 2:41000000\n"},
        {"continued data", "\"n\"=hex:01,\\\r\n  02,\\\n03", "n 3:010203\n"},
        {"continued at once", "\"n\"=hex:\\\r\n  01", "n 3:01\n"},
        {"continued behind comments", "\"n\"=hex:01,\\ ; a\r\n; b\r\n\r\n  02", "n 3:0102\n"},
        {"deletion", "\"n\"=-", "n gone\n"},
        {"deletion of the default value", "@ = - ; c", " gone\n"},
        {"nothing", "", ""},
        {"deletion of a key", "[-HKEY_USERS\\a]", "-[HKEY_USERS\\a]\n"},
        {"brackets in a key's name", "[a\\[b]] ]", "[a\\[b]] ]\n"},
        {"comment behind a key", "\t[a] ; c", "[a]\n"},
        {"lines of blanks and comments", " \t\r\n;[a]\n\r\r[b]", "[b]\n"},
    };
    for (const auto& c : cases) {
        const std::string file = std::string(kHeader5) + c.text;
        EXPECT_EQ(DescribeFile(Utf8File(file)), "[K]\n" + c.dump) << c.label;
        EXPECT_EQ(DescribeFile(Utf8File(file + "\r\n")), "[K]\n" + c.dump) << c.label;
    }
}

TEST(RegText, Encodings) {
    const Text version5 = u"Windows Registry Editor Version 5.00\r\n[K\u00E9\u20AC]\r\n";
    const std::string utf8 = ToUtf8(version5);
    const std::string seen = "[K\u00E9\u20AC]\n";
    const struct {
        const char* label;
        Bytes file;
        std::string dump;
    } cases[] = {
        {"UTF-16", Utf16File(version5), seen},
        {"UTF-16 without its mark", Utf16File(version5, false), seen},
        {"UTF-8", Utf8File(utf8), seen},
        {"UTF-8 with a mark", Utf8File("\xEF\xBB\xBF" + utf8), seen},
        {"lone surrogate in UTF-16", Utf16File(u"REGEDIT4\n[K" + Text{0xD800} + u"]"),
         "[K\xED\xA0\x80]\n"},
        {"malformed UTF-8", Utf8File(utf8 + "\r\n;\xE9\r\n"), "4: malformed UTF-8"},
        {"code page", Utf8File("REGEDIT4\n[K\xE9]\n"), "[K\u00E9]\n"},
        {"a backslash within a character", Utf8File("REGEDIT4\n[K]\n\"\x81\\\"=-\n"),
         "[K]\n\u305C gone\n"},
        {"REGEDIT4 in UTF-8 with a mark", Utf8File("\xEF\xBB\xBFREGEDIT4\n[K\u00E9]\n"),
         "[K\u00E9]\n"},
        {"texts in the code page",
         Utf8File("REGEDIT4\n[K]\n@=hex(2):41,81,5c,00\n@=hex(7):e9,00,00\n@=hex(1):e9,00\n"),
         "[K]\n 2:41005C300000\n 7:E90000000000\n 1:E9000000\n"},
        {"other types are as they are", Utf8File("REGEDIT4\n[K]\n@=hex(6):e9\n@=hex:e9\n"),
         "[K]\n 6:E9\n 3:E9\n"},
        {"the marked form", Utf8File("REGEDIT4\n[K]\n@=hex(02):e9\n"), "[K]\n 2:E9\n"},
        {"blanks behind the header", Utf8File("REGEDIT4 \t\r\n[K]\r\n"), "[K]\n"},
        {"cut within a character", Bytes{0xFF, 0xFE, 'R', 0, 'E'},
         "1: the file ends within a character"},
    };
    for (const auto& c : cases) EXPECT_EQ(DescribeFile(c.file), c.dump) << c.label;
}

TEST(RegText, TheFirstMalformedLineIsTheError) {
    const struct {
        const char* label;
        std::string text;  // its first line is line 4
        std::string error;
    } cases[] = {
        {"text alone", "x", "4: neither a key, a value nor a comment"},
        {"open key", "[HKEY_USERS\r\n[b]", "4: the key's name has no closing bracket"},
        {"empty key", "\n[]", "5: the key has no name"},
        {"text behind a key", "[a] b", "4: unexpected text at the end of the line"},
        {"open name", "\"n=dword:1\r\n", "4: the quoted text is not closed"},
        {"open text over lines", "\n\n\"n\"=\"a\r\nb\r\n", "6: the quoted text is not closed"},
        {"unknown escape", "\"n\"=\"C:\\Temp\"", "4: unknown escape in a quoted text"},
        {"cut behind a backslash", "\"n\"=\"C:\\", "4: unknown escape in a quoted text"},
        {"no data", "\"n\"", "4: no = behind the value's name"},
        {"unknown data", "\n\"n\"=x", "5: unknown kind of data"},
        {"no data behind =", "\"n\"=", "4: unknown kind of data"},
        {"empty number", "\"n\"=dword:", "4: a hexadecimal number is missing"},
        {"long number", "\"n\"=dword:123456789", "4: a hexadecimal number is too long"},
        {"number and text", "\"n\"=dword:12g", "4: unexpected text at the end of the line"},
        {"long byte", "\"n\"=hex:001", "4: a hexadecimal number is too long"},
        {"comma at the end", "\"n\"=hex:01,\r\n\r\n", "4: a hexadecimal number is missing"},
        {"continued by a key", "\"n\"=hex:01,\\\r\n[b]", "5: a hexadecimal number is missing"},
        {"continued by nothing", "\"n\"=hex:01,\\", "4: a hexadecimal number is missing"},
        {"no comma before the continuation", "\"n\"=hex:01\\\r\n  02",
         "4: unexpected text at the end of the line"},
        {"open type", "\"n\"=hex(2:00", "4: no ) behind the type of hex data"},
        {"no colon", "\"n\"=hex(2)00", "4: no : before the hex data"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DescribeFile(Utf8File(std::string(kHeader5) + c.text)), c.error) << c.label;
    }
    const std::string noHeader = "1: not a registry file: the first line is no known header";
    for (const char* text : {"", "REGEDIT\r\n", "REGEDIT45\n", "\r\nREGEDIT4\r\n"}) {
        EXPECT_EQ(DescribeFile(Utf8File(text)), noHeader) << text;
    }
    EXPECT_EQ(DescribeFile(Utf8File("REGEDIT4\n\n\"n\"=-")), "3: a value stands behind no key");
}

TEST(RegText, WhatIsWholeIsReadIfMalformedLinesArePassedOver) {
    const std::string text =
        "REGEDIT4\n[a]\njunk\n\"1\"=dword:1\n\"path\"=\"C:\\Temp\"\n\"hex\"=hex:01,zz,\\\n 02,\\\n "
        "03\n"
        "\"2\"=dword:2\n\"open\"=\"x\n[b]\n\"3\"=\"y\"\n[c\n\"lost\"=dword:4\n\"cut\"=hex:01,\\\n["
        "d]\n"
        "\"5\"=dword:5\n\x1A";
    std::vector<RegParseError> passedOver;
    EXPECT_EQ(Describe(ParseRegText(Utf8File(text), kCodePage, {}, &passedOver)),
              "[a]\n1 4:01000000\n2 4:02000000\n[b]\n3 1:79000000\n[d]\n5 4:05000000\n");
    std::string lines;
    for (const RegParseError& error : passedOver) lines += std::to_string(error.line) + ' ';
    EXPECT_EQ(lines, "3 5 6 10 13 14 15 18 ");
    EXPECT_EQ(passedOver[1].message, "unknown escape in a quoted text");
    EXPECT_EQ(DescribeFile(Utf8File(text)), "3: neither a key, a value nor a comment");
}

/// A value "n".
RegEntry Value(std::uint32_t type, Bytes data) {
    return {u"n", false, type, std::move(data)};
}

RegEntry TextValue(std::uint32_t type, TextView units) {
    return Value(type, ToUtf16Bytes(units));
}

TEST(RegText, WritesWhatTheRegistryEditorWrites) {
    Bytes fifty(50);
    for (std::size_t i = 0; i < fifty.size(); ++i) fifty[i] = static_cast<std::uint8_t>(i);
    const TextView wrapped =
        u"\"n\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
        u"  17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b,2c,2d,2e,2f,\\\r\n"
        u"  30,31";
    const Text longName(70, u'n');
    const Text atOnce = u"\"" + longName + u"\"=hex:01,\\\r\n  02";
    const struct {
        const char* label;
        RegEntry entry;
        TextView version5;
        TextView regedit4 = {};  // where it differs
    } rows[] = {
        {"default text", {u"", false, 1, ToUtf16Bytes(u"a\0"sv)}, u"@=\"a\""},
        {"escapes", {u"\\\"", false, 1, ToUtf16Bytes(u"\"\\\0"sv)}, u"\"\\\\\\\"\"=\"\\\"\\\\\""},
        {"number", Value(4, {0x1F, 0, 0, 0xAB}), u"\"n\"=dword:ab00001f"},
        {"number of three bytes", Value(4, {1, 2, 3}), u"\"n\"=hex(4):01,02,03"},
        {"wrapped lines", Value(3, fifty), wrapped},
        {"long name", {longName, false, 3, {1, 2}}, atOnce},
        {"type in lower case", Value(0xAB0, {}), u"\"n\"=hex(ab0):"},
        {"type 0", Value(0, {7}), u"\"n\"=hex(0):07"},
        {"expandable text", TextValue(2, u"%\u00E9\0"sv), u"\"n\"=hex(2):25,00,e9,00,00,00",
         u"\"n\"=hex(2):25,e9,00"},
        {"multiple text", TextValue(7, u"\u305C\0\0"sv), u"\"n\"=hex(7):5c,30,00,00,00,00",
         u"\"n\"=hex(7):81,5c,00,00"},
        {"line break", TextValue(1, u"a\n\0"sv), u"\"n\"=hex(1):61,00,0a,00,00,00",
         u"\"n\"=hex(1):61,0a,00"},
        {"no NUL", TextValue(1, u"a"), u"\"n\"=hex(1):61,00", u"\"n\"=hex(1):61"},
        {"two NULs", TextValue(1, u"a\0\0"sv), u"\"n\"=hex(1):61,00,00,00,00,00",
         u"\"n\"=hex(1):61,00,00"},
        {"odd bytes", Value(1, {0x61, 0, 0}), u"\"n\"=hex(1):61,00,00", u"\"n\"=hex(01):61,00,00"},
        {"outside of the code page", TextValue(1, u"\u0141\0"sv), u"\"n\"=\"\u0141\"",
         u"\"n\"=hex(01):41,01,00,00"},
        {"deletion", {u"n", true, 0, {}}, u"\"n\"=-"},
    };
    for (const auto& row : rows) {
        const auto expect = [&](RegFormat form, TextView line) {
            const RegSection section{u"HKEY_USERS\\K", false, {row.entry}};
            EXPECT_EQ(ToUtf8(FormatRegSection(section, form, kCodePage)),
                      "[HKEY_USERS\\K]\r\n" + ToUtf8(line) + "\r\n\r\n")
                << row.label;
        };
        expect(RegFormat::Version5, row.version5);
        expect(RegFormat::Regedit4, row.regedit4.empty() ? row.version5 : row.regedit4);
    }
    EXPECT_EQ(FormatRegSection({u"K", true, {}}, RegFormat::Version5, kCodePage), u"[-K]\r\n\r\n");
}

TEST(RegText, AKeyWithALineBreakTakesItsEntriesWithIt) {
    const Text text = RegHeader(RegFormat::Version5) +
                      FormatRegSection({u"A", false, {}}, RegFormat::Version5, kCodePage) +
                      FormatRegSection({u"A\\b\r\n[c", false, {{u"n", true, 0, {}}}},
                                       RegFormat::Version5, kCodePage);
    EXPECT_EQ(DescribeFile(Utf16File(text)), "[A]\n");
}

TEST(RegText, EveryTypeAndDataComesBack) {
    const Text x300(300, u'x');
    const TextView texts[] = {u"",           u"\0"sv,       u"a",
                              u"a\0"sv,      u"\0a\0"sv,    u"a\0b\0\0"sv,
                              u"\r\n\0"sv,   u";]\"\\\0"sv, u"\u00E9\u305C\0"sv,
                              u"\u0141\0"sv, u"\xD800\0"sv, u"\xDC00\xD800",
                              x300};
    std::vector<Bytes> data{{0}, {1, 2, 3}, {0, 0, 0}, {1, 2, 3, 4}, Bytes(1000, 0xEE)};
    for (const TextView text : texts) data.push_back(ToUtf16Bytes(text));

    for (const RegFormat format : {RegFormat::Version5, RegFormat::Regedit4}) {
        RegDocument document{format, {{u"HKEY_USERS\\[a]b; ", false, {}}, {u"B", true, {}}}};
        for (std::uint32_t type :
             {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 11U, 0x10001U, 0xFFFFFFFFU}) {
            for (const Bytes& bytes : data) {
                const Text name = type == 0 ? Text() : Text(u"\\\"\u00E9\r\n") + ToText(type);
                document.sections[0].entries.push_back({name, false, type, bytes});
            }
        }
        Text text = RegHeader(format);
        for (const RegSection& section : document.sections) {
            text += FormatRegSection(section, format, kCodePage);
        }
        const std::string narrow = kCodePage.encode(text);
        const bool isNarrow = format == RegFormat::Regedit4;
        const auto result = ParseRegText(isNarrow ? Utf8File(narrow) : Utf16File(text), kCodePage);
        EXPECT_EQ(Describe(result), Describe(document));
    }
}

}  // namespace
}  // namespace bkfd
