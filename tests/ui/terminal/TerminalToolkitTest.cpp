#include "ui/terminal/TerminalToolkit.h"

#include <gtest/gtest.h>

#include <sstream>

namespace bkfd {
namespace {

using Answers = TerminalToolkit::Answers;

struct Shown {
    MessageResult result;
    std::string text;
    std::size_t keysLeft;
};

Shown Show(Answers answers, std::string keys, int style, const Text& prompt = u"Clean up? ",
           bool inLines = false) {
    std::ostringstream messages;
    std::size_t used = 0;
    TerminalToolkit toolkit(
        messages,
        [&]() -> std::optional<char> {
            return used < keys.size() ? std::optional(keys[used++]) : std::nullopt;
        },
        answers);
    if (inLines) toolkit.ReadKeysFromLines();
    const MessageResult result = toolkit.ShowMessageBox(prompt, style, u"Brackenfold");
    return {result, messages.str(), keys.size() - used};
}

TEST(TerminalToolkit, AnswersQuestions) {
    constexpr int kQuestion = MessageStyle::Exclamation | MessageStyle::OkCancel;
    const std::string ok = "  O = OK, C = Cancel: OK\n";
    const std::string cancel = "  O = OK, C = Cancel: Cancel\n";
    const struct {
        const char* label;
        Answers answers;
        const char* keys;
        MessageResult result;
        std::size_t keysLeft;
        std::string lastLine;
    } rows[] = {
        {"o is OK", Answers::Ask, "oc", MessageResult::Ok, 1, ok},
        {"Y is OK", Answers::Ask, "Y", MessageResult::Ok, 0, ok},
        {"c is Cancel", Answers::Ask, "co", MessageResult::Cancel, 1, cancel},
        {"Escape is Cancel", Answers::Ask, "\x1b", MessageResult::Cancel, 0, cancel},
        {"Enter and others say nothing", Answers::Ask, "\n x\to", MessageResult::Ok, 0, ok},
        {"end of input", Answers::Ask, "\n", MessageResult::Cancel, 0,
         "  O = OK, C = Cancel: \n  Cancel (nobody answered)\n"},
        {"nobody is asked", Answers::SafeChoice, "o", MessageResult::Cancel, 1,
         "  Cancel (nobody was asked)\n"},
        {"yes to everything", Answers::Yes, "c", MessageResult::Ok, 1,
         "  OK (as told beforehand)\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const Shown shown = Show(row.answers, row.keys, kQuestion);
        EXPECT_EQ(shown.result, row.result);
        EXPECT_EQ(shown.keysLeft, row.keysLeft);
        EXPECT_EQ(shown.text, "[!] Brackenfold: Clean up?\n" + row.lastLine);
    }
}

TEST(TerminalToolkit, NoLetterInsideALineIsAnAnswer) {
    const struct {
        const char* keys;
        MessageResult result;
        std::size_t keysLeft;
    } rows[] = {
        {"row 1\ndon't do it\nc\n", MessageResult::Cancel, 1},
        {"row 1\r\n\r\n o\nrow 2", MessageResult::Ok, 6},
        {"oc", MessageResult::Ok, 1},
        {"menu Exit, no, yes", MessageResult::Cancel, 0},  // the input's end
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.keys);
        const Shown shown = Show(Answers::Ask, row.keys, MessageStyle::OkCancel, u"Sure?", true);
        EXPECT_EQ(shown.result, row.result);
        EXPECT_EQ(shown.keysLeft, row.keysLeft);
    }
}

TEST(TerminalToolkit, AQuestionDropsWhatWasTypedBefore) {
    std::ostringstream messages;
    char key = 'o';
    TerminalToolkit toolkit(
        messages, [&] { return std::optional(key); }, Answers::Ask);
    toolkit.DropTypedAheadBy([&] { key = 'c'; });
    EXPECT_EQ(toolkit.ShowMessageBox(u"Sure?", MessageStyle::OkCancel, u"It"),
              MessageResult::Cancel);
}

TEST(TerminalToolkit, ShowsPlainMessagesWithoutWaiting) {
    const Shown shown = Show(Answers::Ask, "c", MessageStyle::Critical, u"No\x1b[2J such\nfile");
    EXPECT_EQ(shown.result, MessageResult::Ok);
    EXPECT_EQ(shown.keysLeft, 1U);
    EXPECT_EQ(shown.text, "[error] Brackenfold: No\\u001b[2J such\nfile\n");
}

}  // namespace
}  // namespace bkfd
