#include "cli/Console.h"

#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <tuple>

namespace bkfd {
namespace {

/// The terminal hands keys over one by one, unechoed, while this object lives.
class KeyMode {
  public:
    KeyMode() {
        if (tcgetattr(STDIN_FILENO, &before_) != 0) return;
        termios mode = before_;
        mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        mode.c_cc[VMIN] = 1;
        mode.c_cc[VTIME] = 0;
        isChanged_ = tcsetattr(STDIN_FILENO, TCSADRAIN, &mode) == 0;
    }
    ~KeyMode() {
        if (isChanged_) tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
    }
    KeyMode(const KeyMode&) = delete;
    KeyMode& operator=(const KeyMode&) = delete;

  private:
    termios before_{};
    bool isChanged_ = false;
};

std::optional<char> ReadTerminalKey() {
    constexpr char kEndOfInput = 4;  // Ctrl+D, which ends nothing while keys come one by one
    const KeyMode mode;
    char key = 0;
    if (read(STDIN_FILENO, &key, 1) != 1 || key == kEndOfInput) return std::nullopt;
    return key;
}

}  // namespace

Console::Console(std::istream& input, std::ostream& output, std::ostream& messages)
    : in(input), out(output), err(messages) {
    readKey = [&input]() -> std::optional<char> {
        const int key = input.get();
        if (key == std::char_traits<char>::eof()) return std::nullopt;
        return static_cast<char>(key);
    };
}

std::string Console::Bold(std::string_view text) const {
    if (!isOutTerminal) return std::string(text);
    return "\x1b[1m" + std::string(text) + "\x1b[0m";
}

Console ProcessConsole() {
    Console console(std::cin, std::cout, std::cerr);
    console.isOutTerminal = isatty(STDOUT_FILENO) != 0;
    console.isErrTerminal = isatty(STDERR_FILENO) != 0;
    console.isInTerminal = isatty(STDIN_FILENO) != 0;
    if (console.isInTerminal) {
        console.readKey = ReadTerminalKey;
        console.dropTypedAhead = [] { std::ignore = tcflush(STDIN_FILENO, TCIFLUSH); };
    }
    return console;
}

}  // namespace bkfd
