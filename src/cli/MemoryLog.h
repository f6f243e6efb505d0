#pragma once

#include <vector>

#include "services/Logger.h"

namespace bkfd {

/// A log that keeps its lines in memory, and passes them on where that is wanted.
class MemoryLog final : public Logger {
  public:
    struct Line {
        std::int32_t code = 0;
        Text message;
        LogLevel level = LogLevel::Trace;
        Text source;
    };

    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        lines_.push_back({code, message, level, source});
        if (next_ != nullptr) next_->Write(code, message, level, source);
    }
    void Open(const Text&, const Text&) override {}

    const std::vector<Line>& Lines() const { return lines_; }
    /// From now on each line goes to `next` too, which is open.
    void PassOnTo(LoggerRef next) { next_ = std::move(next); }

  private:
    LoggerRef next_;
    std::vector<Line> lines_;
};

}  // namespace bkfd
