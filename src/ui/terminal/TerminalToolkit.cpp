#include "ui/terminal/TerminalToolkit.h"

#include <ostream>

#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kEscape = '\x1b';
constexpr int kButtons = 0x0F;  // the part of a style that tells the buttons
constexpr int kIcon = 0xF0;     // and the part that tells the icon

const char* MarkOf(int style) {
    switch (style & kIcon) {
        case MessageStyle::Critical:
            return "[error] ";
        case MessageStyle::Exclamation:
            return "[!] ";
        default:
            return "";
    }
}

std::optional<MessageResult> AnswerOf(char key) {
    switch (key) {
        case 'o':
        case 'O':
        case 'y':
        case 'Y':
            return MessageResult::Ok;
        case 'c':
        case 'C':
        case 'n':
        case 'N':
        case kEscape:
            return MessageResult::Cancel;
        default:
            return std::nullopt;
    }
}

const char* NameOf(MessageResult answer) {
    return answer == MessageResult::Ok ? "OK" : "Cancel";
}

}  // namespace

TerminalToolkit::TerminalToolkit(std::ostream& messages, KeyReader readKey, Answers answers)
    : messages_(messages), readKey_(std::move(readKey)), answers_(answers) {}

MessageResult TerminalToolkit::ShowMessageBox(const Text& prompt, int style, const Text& title) {
    messages_ << MarkOf(style) << PrintableText(title) << ": " << PrintableText(Trim(prompt), true)
              << '\n';
    if ((style & kButtons) != MessageStyle::OkCancel) {
        messages_.flush();
        return MessageResult::Ok;
    }
    switch (answers_) {
        case Answers::SafeChoice:
            return Announce(MessageResult::Cancel, "nobody was asked");
        case Answers::Yes:
            return Announce(MessageResult::Ok, "as told beforehand");
        case Answers::Ask:
            break;
    }
    return Ask();
}

// Any other key is passed over; Enter too, so that nobody agrees by a stray keystroke.
MessageResult TerminalToolkit::Ask() {
    messages_ << "  O = OK, C = Cancel: " << std::flush;
    while (const std::optional<char> key = readKey_()) {
        if (const std::optional<MessageResult> answer = AnswerOf(*key)) {
            messages_ << NameOf(*answer) << std::endl;
            return *answer;
        }
    }
    messages_ << '\n';
    return Announce(MessageResult::Cancel, "nobody answered");
}

MessageResult TerminalToolkit::Announce(MessageResult answer, const char* why) {
    messages_ << "  " << NameOf(answer) << " (" << why << ")" << std::endl;
    return answer;
}

}  // namespace bkfd
