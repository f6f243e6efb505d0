#include "ui/terminal/TerminalToolkit.h"

#include <ostream>

#include "ui/Form.h"
#include "ui/Timer.h"
#include "ui/terminal/FormCommand.h"
#include "ui/terminal/FormText.h"
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

/// Where a line may still begin.
bool IsBetweenLines(char key) {
    return key == '\n' || key == '\r' || key == ' ';
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
    dropTypedAhead_();
    messages_ << "  O = OK, C = Cancel: " << std::flush;
    while (const std::optional<char> key = readKey_()) {
        if (const std::optional<MessageResult> answer = AnswerOf(*key)) {
            messages_ << NameOf(*answer) << std::endl;
            return *answer;
        }
        if (keysComeInLines_ && !IsBetweenLines(*key)) SkipLine();
    }
    messages_ << '\n';
    return Announce(MessageResult::Cancel, "nobody answered");
}

void TerminalToolkit::SkipLine() {
    while (const std::optional<char> key = readKey_()) {
        if (*key == '\n') return;
    }
}

MessageResult TerminalToolkit::Announce(MessageResult answer, const char* why) {
    messages_ << "  " << NameOf(answer) << " (" << why << ")" << std::endl;
    return answer;
}

void TerminalToolkit::PumpMessages() {
    ShowActive();
    FireTimer();
}

void TerminalToolkit::WaitForInput() {
    ShowActive();
    if (FireTimer()) return;
    const std::optional<std::string> line = ReadLine("> ");
    if (!line) {
        messages_ << std::endl;  // behind the prompt
        EndProgram();
    }
    if (line->find_first_not_of(' ') == std::string::npos) return;
    if (*line == "help") {
        messages_ << FormCommandHelp();
        return;
    }
    if (*line == "show") {
        lastShown_.clear();
        return;
    }
    Form* form = Windows().Active();
    const std::string complaint = form ? RunFormCommand(*form, *line) : "No window is open.";
    if (!complaint.empty()) messages_ << PrintableText(FromUtf8(complaint)) << '\n';
}

void TerminalToolkit::ShowActive() {
    Form* form = Windows().Active();
    std::string text = form ? FormText(*form) : std::string();
    if (text == lastShown_) return;
    messages_ << text << std::flush;
    lastShown_ = std::move(text);
}

std::optional<std::string> TerminalToolkit::ReadLine(const char* prompt) {
    messages_ << prompt << std::flush;
    if (readLine_) return readLine_();
    std::string line;
    while (const std::optional<char> key = readKey_()) {
        if (*key == '\n') return line;
        if (*key != '\r') line += *key;
    }
    return line.empty() ? std::nullopt : std::optional(line);
}

void TerminalToolkit::StartTimer(Timer& timer, int) {
    timers_.push_back(&timer);
}

void TerminalToolkit::StopTimer(Timer& timer) {
    std::erase(timers_, &timer);
}

bool TerminalToolkit::FireTimer() {
    if (timers_.empty()) return false;
    timers_.front()->Fire();
    return true;
}

MenuItem* TerminalToolkit::ShowPopupMenu(Form&, MenuItem& menu) {
    std::vector<MenuItem*> offered;
    for (MenuItem* entry : menu.Entries()) {
        if (!entry->Visible() || !entry->Enabled() || entry->IsSeparator()) continue;
        offered.push_back(entry);
        messages_ << "  " << offered.size() << "  "
                  << PrintableText(WithoutMnemonic(entry->Caption())) << '\n';
    }
    const std::optional<std::string> line = ReadLine("Number: ");
    for (std::size_t number = 1; line && number <= offered.size(); ++number) {
        MenuItem* const entry = offered[number - 1];
        const bool isNamed = EqualsIgnoreCase(FromUtf8(*line), WithoutMnemonic(entry->Caption()));
        if (isNamed || *line == std::to_string(number)) return entry;
    }
    messages_ << "Nothing was chosen." << std::endl;
    return nullptr;
}

}  // namespace bkfd
