#pragma once

#include <functional>
#include <utility>
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
        if (open_ != nullptr) next_ = std::exchange(open_, nullptr)();
        if (next_ != nullptr) next_->Write(code, message, level, source);
    }
    void Open(const Text&, const Text&) override {}

    const std::vector<Line>& Lines() const { return lines_; }
    /// From now on each line goes to another log too, which `open` opens with the first one; it
    /// may give none.
    void PassOnTo(std::function<LoggerRef()> open) { open_ = std::move(open); }

  private:
    std::function<LoggerRef()> open_;
    LoggerRef next_;
    std::vector<Line> lines_;
};

}  // namespace bkfd
