#include "ui/terminal/PrintableText.h"

#include <gtest/gtest.h>

namespace bkfd {
namespace {

TEST(PrintableText, LetsNothingCommandTheTerminal) {
    const struct {
        const char* label;
        Text text;
        const char* printable;
        std::size_t width;
    } rows[] = {
        {"plain", u"C:\\a b.dll", "C:\\a b.dll", 10},
        {"escape sequence", u"a\x1b]0;x\ab", "a\\u001b]0;x\\u0007b", 18},
        {"embedded NUL", Text(u"a\0b", 3), "a\\u0000b", 8},
        {"C1 control", u"\u009b31m", "\\u009b31m", 9},
        {"reversed writing", u"gpj.\u202eexe.txt", "gpj.\\u202eexe.txt", 17},
        {"line end", u"a\r\nb", "a\\u000d\\u000ab", 14},
        {"lone surrogate", u"a\xd800", "a\\ud800", 7},
        {"a mark that turns Arabic", u"a\u061cb", "a\\u061cb", 8},
        {"a filler that shows nothing", u"a\u3164.exe", "a\\u3164.exe", 11},
        {"a selector of a form", u"a\uFE0Fb", "a\\ufe0fb", 8},
        {"a tag beyond the basic plane", u"a\U000E0041b", "a\\udb40\\udc41b", 14},
        {"Cyrillic", u"жук.dll", "жук.dll", 7},
        {"wide", u"检查.exe", "检查.exe", 8},
        {"combining mark", u"e\u0301", "e\u0301", 1},
        {"beyond the basic plane", u"\U0001F41B", "\U0001F41B", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const std::string printable = PrintableText(row.text);
        EXPECT_EQ(printable, row.printable);
        EXPECT_EQ(DisplayWidth(printable), row.width);
    }
    EXPECT_EQ(PrintableText(u"a\r\n\tb\n", true), "a\n\\u0009b\n");
}

}  // namespace
}  // namespace bkfd
