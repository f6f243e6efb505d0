#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace bkfd {

/// Where a command reads and writes, and what is known about the other end.
struct Console {
    Console(std::istream& input, std::ostream& output, std::ostream& messages);

    std::istream& in;
    std::ostream& out;  // results
    std::ostream& err;  // messages, questions and progress
    bool isOutTerminal = false;
    bool isErrTerminal = false;
    bool isInTerminal = false;  // keys are pressed one by one
    /// The next key pressed, or nothing at the end of the input. By default the next byte of `in`.
    std::function<std::optional<char>()> readKey;
    /// Takes from a terminal what was pressed so far and not yet read. Nothing by default: a file
    /// lies there as a whole from the start.
    std::function<void()> dropTypedAhead = [] {};

    /// Emphasised where the results go to a terminal, else as it is.
    std::string Bold(std::string_view text) const;
};

/// The console of this process: standard input, output and error, keys read one by one where the
/// input is a terminal. From here on, writing to a reader that has gone is a failed write and ends
/// nothing, and a closed input or output stays one that fails, whatever files are opened.
Console ProcessConsole();

}  // namespace bkfd
