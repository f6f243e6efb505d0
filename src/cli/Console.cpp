#include "cli/Console.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <utility>

namespace bkfd {
namespace {

/// The terminal hands keys over one by one, unechoed, while this object lives; also those that
/// usually send a signal, which would end the program and leave the terminal so.
class KeyMode {
  public:
    KeyMode() {
        if (tcgetattr(STDIN_FILENO, &before_) != 0) return;
        termios mode = before_;
        mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
        mode.c_cc[VMIN] = 1;
        mode.c_cc[VTIME] = 0;
        isChanged_ = tcsetattr(STDIN_FILENO, TCSADRAIN, &mode) == 0;
    }
    ~KeyMode() {
        if (isChanged_) tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
    }
    KeyMode(const KeyMode&) = delete;
    KeyMode& operator=(const KeyMode&) = delete;

    /// The signal that the key usually sends, 0 for none.
    int SignalOf(char key) const {
        constexpr std::pair<int, int> kSignalKeys[] = {
            {VINTR, SIGINT}, {VQUIT, SIGQUIT}, {VSUSP, SIGTSTP}};
        for (const auto& [place, signal] : kSignalKeys) {
            if (isChanged_ && static_cast<cc_t>(key) == before_.c_cc[place]) return signal;
        }
        return 0;
    }

  private:
    termios before_{};
    bool isChanged_ = false;
};

std::optional<char> ReadTerminalKey() {
    constexpr char kEndOfInput = 4;  // Ctrl+D, which ends nothing while keys come one by one
    for (;;) {
        char key = 0;
        int signal = 0;
        {
            const KeyMode mode;
            if (read(STDIN_FILENO, &key, 1) != 1 || key == kEndOfInput) return std::nullopt;
            signal = mode.SignalOf(key);
        }
        if (signal == 0) return key;
        (void)std::raise(signal);
    }
}

/// The next file that is opened gets the lowest free number: what is meant for the user would go
/// into a file of the image. Opened the wrong way round, so that reading and writing still fail.
void OccupyStandardDescriptors() {
    for (;;) {
        const int number = open("/dev/null", O_RDONLY);
        if (number == STDIN_FILENO) {
            close(number);
            if (open("/dev/null", O_WRONLY) != STDIN_FILENO) return;
        } else if (number < 0 || number > STDERR_FILENO) {
            close(number);
            return;
        }
    }
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
    OccupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN);
    Console console(std::cin, std::cout, std::cerr);
    console.isOutTerminal = isatty(STDOUT_FILENO) != 0;
    console.isErrTerminal = isatty(STDERR_FILENO) != 0;
    console.isInTerminal = isatty(STDIN_FILENO) != 0;
    if (console.isInTerminal) {
        console.readKey = ReadTerminalKey;
        console.dropTypedAhead = [] { (void)tcflush(STDIN_FILENO, TCIFLUSH); };
    }
    return console;
}

}  // namespace bkfd
