#pragma once

#include <ostream>
#include <string_view>

#include "cli/Console.h"

namespace bkfd {

/// A line that says what is going on, while this object lives; only where messages go to a
/// terminal.
class ProgressLine {
  public:
    ProgressLine(Console& console, std::string_view text) : console_(console) {
        if (console_.isErrTerminal) console_.err << text << " ..." << std::flush;
    }
    ~ProgressLine() {
        constexpr std::string_view kEraseLine = "\r\x1b[K";
        if (console_.isErrTerminal) console_.err << kEraseLine << std::flush;
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

  private:
    Console& console_;
};

}  // namespace bkfd
