#include "base/Text.h"

#include <gmock/gmock.h>
#include <iconv.h>

#include "base/RuntimeError.h"

namespace bkfd {
namespace {

TEST(Text, Utf8) {
    const struct {
        const char* label;
        std::string_view utf8;
        TextView strict;     // FromUtf8
        TextView wide = {};  // FromWtf8, where it differs
    } cases[] = {
        {"one to four bytes", "a\u00E9\u20AC\U0001F600", u"a\u00E9\u20AC\U0001F600"},
        {"embedded NUL", {"a\0b", 3}, {u"a\0b", 3}},
        {"lone surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", TextView(u"\xD800", 1)},
        {"overlong slash", "\xC0\xAF", u"\uFFFD\uFFFD"},
        {"overlong three bytes", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
        {"beyond U+10FFFF", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"cut at the end", "a\xE2\x82", u"a\uFFFD\uFFFD"},
        {"cut before a letter", "\xE2\x82z", u"\uFFFD\uFFFDz"},
        {"continuation alone", "\x80z", u"\uFFFDz"},
        {"bytes FE and FF", "\xFE\xFF", u"\uFFFD\uFFFD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FromUtf8(c.utf8), c.strict) << c.label;
        EXPECT_EQ(FromWtf8(c.utf8), c.wide.empty() ? c.strict : c.wide) << c.label;
    }
}

TEST(Text, LoneSurrogatesSurviveInWtf8Only) {
    const Text cases[] = {Text{0xD800}, Text{0xDFFF, u'a'}, Text{0xDC00, 0xD800},
                          Text{0xD83D, 0xD83D, 0xDE00}};
    for (const Text& text : cases) {
        EXPECT_EQ(FromWtf8(ToWtf8(text)), text);
        EXPECT_THAT(ToUtf8(text), testing::HasSubstr("\xEF\xBF\xBD"));
    }
}

TEST(Text, IconvAgreesOnEveryCharacter) {
    Text all;
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) continue;
        if (point >= 0x10000) all += static_cast<char16_t>(0xD7C0 + (point >> 10));
        all += static_cast<char16_t>(point < 0x10000 ? point : 0xDC00 + (point & 0x3FF));
    }
    std::string expected(all.size() * 3, '\0');
    const iconv_t converter = iconv_open("UTF-8", "UTF-16LE");
    char* in = reinterpret_cast<char*>(all.data());
    char* out = expected.data();
    std::size_t inLeft = all.size() * 2;
    std::size_t outLeft = expected.size();
    ASSERT_EQ(iconv(converter, &in, &inLeft, &out, &outLeft), 0U);
    iconv_close(converter);
    expected.resize(expected.size() - outLeft);
    EXPECT_TRUE(ToUtf8(all) == expected);
    EXPECT_TRUE(FromUtf8(expected) == all);
}

TEST(Text, BytesKeepTheirValueAndUpperHalvesAreDropped) {
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
    EXPECT_EQ(ToBytes(FromBytes(all)), all);
    EXPECT_EQ(ToBytes(u"\u20AC\u0141"), (Bytes{0xAC, 0x41}));
}

TEST(Text, LowerCase) {
    const struct {
        const char* label;
        TextView text;
        TextView lower;
    } cases[] = {
        {"ASCII and its neighbours", u"@AZ[`az{", u"@az[`az{"},
        {"Latin 1 but the multiplication sign", u"\u00C0\u00D6\u00D7\u00D8\u00DE\u00DF",
         u"\u00E0\u00F6\u00D7\u00F8\u00FE\u00DF"},
        {"alternating pairs", u"\u0100\u0101\u0102\u0139\u013A", u"\u0101\u0101\u0103\u013A\u013A"},
        {"dotted I keeps its length and stays", u"\u0130I", u"\u0130i"},
        {"Greek with final sigma left alone", u"\u03A3\u03C2\u0386", u"\u03C3\u03C2\u03AC"},
        {"Cyrillic", u"\u0410\u042F\u0401", u"\u0430\u044F\u0451"},
        {"full width", u"\uFF21\uFF3A\uFF3B", u"\uFF41\uFF5A\uFF3B"},
        {"surrogate pairs are units", u"\U00010400", u"\U00010400"},
    };
    for (const auto& c : cases) EXPECT_EQ(ToLower(c.text), c.lower) << c.label;
    for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
        const char16_t lower = ToLower(static_cast<char16_t>(unit));
        ASSERT_EQ(ToLower(lower), lower) << ToUtf8(ToHex(unit));
    }
}

TEST(Text, Comparison) {
    EXPECT_TRUE(EqualsIgnoreCase(u"C:\\\u00C4.DLL", u"c:\\\u00E4.dll"));
    EXPECT_FALSE(EqualsIgnoreCase(u"abc", u"abcd"));
    EXPECT_LT(CompareIgnoreCase(u"abc", u"ABCD"), 0);
    EXPECT_GT(CompareIgnoreCase(u"b", u"ABCD"), 0);
    // By lower case: "_" stands before the letters, as it wouldn't by upper case.
    EXPECT_LT(CompareIgnoreCase(u"_", u"A"), 0);
}

TEST(Text, Positions) {
    const struct {
        const char* label;
        std::size_t found;
        std::size_t expected;
    } cases[] = {
        {"from a start that is itself a hit", Find(u"abcabc", u"a", 4), 4},
        {"from behind the hit", Find(u"abcabc", u"a", 5), 0},
        {"start at the end", Find(u"abc", u"c", 3), 3},
        {"start behind the end", Find(u"abc", u"c", 4), 0},
        {"start 0", Find(u"abc", u"a", 0), 0},
        {"in nothing", Find(u"", u"a"), 0},
        {"case counts", Find(u"abc", u"A"), 0},
        {"last of two", FindLast(u"a\\b\\c", u"\\"), 4},
        {"last of none", FindLast(u"abc", u"\\"), 0},
    };
    for (const auto& c : cases) EXPECT_EQ(c.found, c.expected) << c.label;
}

TEST(Text, Parts) {
    const struct {
        const char* label;
        Text part;
        TextView expected;
    } cases[] = {
        {"left beyond the length", Left(u"abc", 9), u"abc"},
        {"right beyond the length", Right(u"abc", 9), u"abc"},
        {"right of nothing", Right(u"abc", 0), u""},
        {"mid to the end", Mid(u"abcd", 3), u"cd"},
        {"mid from just behind the end", Mid(u"abcd", 5), u""},
        {"mid from far behind the end", Mid(u"abcd", 50, 2), u""},
        {"trim keeps tabs and inner blanks", Trim(u"  \ta b\t "), u"\ta b\t"},
        {"trim of blanks", Trim(u"   "), u""},
        {"replace all", Replace(u"a-b-c", u"-", u"--"), u"a--b--c"},
        {"replace keeps the text before its start", Replace(u"a-b-c", u"-", u"+", 3), u"a-b+c"},
        {"replace with a hit across the start", Replace(u"abab", u"ab", u"x", 2), u"abx"},
        {"replace from behind the end", Replace(u"aa", u"a", u"b", 9), u"aa"},
        {"replace of nothing", Replace(u"aa", u"", u"b"), u"aa"},
        {"replaced text isn't searched again", Replace(u"aab", u"ab", u"b"), u"ab"},
        {"smallest number", ToText(INT64_MIN), u"-9223372036854775808"},
        {"hexadecimal number", ToHex(0x80F), u"0000080F"},
        {"backslash kept", WithBackslash(u"C:\\"), u"C:\\"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.part, c.expected) << c.label;
    EXPECT_THROW(Left(u"abc", -1), RuntimeError);
    EXPECT_THROW(Right(u"abc", -1), RuntimeError);
    EXPECT_THROW(Mid(u"abc", 0), RuntimeError);
    EXPECT_THROW(Mid(u"abc", 1, -1), RuntimeError);
}

}  // namespace
}  // namespace bkfd
