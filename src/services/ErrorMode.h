#pragma once

#include <optional>
#include <utility>

#include "services/Logger.h"

namespace bkfd {

/// Continue-on-error mode: each step runs whatever became of the one before, and the last error is
/// kept until it is taken. Modes nest: a step may call what runs in such a mode of its own.
class ContinueOnError {
  public:
    ContinueOnError() = default;
    ContinueOnError(const ContinueOnError&) = delete;
    ContinueOnError& operator=(const ContinueOnError&) = delete;

    template <class Body>
    void operator()(Body&& body) {
        const Step step(*this);
        try {
            std::forward<Body>(body)();
        } catch (...) {
            pending_ = CurrentError();
        }
    }

    /// The last error, which is then no longer pending.
    std::optional<RuntimeError> TakePending() { return std::exchange(pending_, std::nullopt); }

    /// The error that is pending where this is called: that of the innermost mode around it that
    /// has passed one over in an earlier step. It stays pending.
    static std::optional<RuntimeError> Pending() {
        const Step* step = innermost_;
        while (step != nullptr && !step->mode.pending_) step = step->outer;
        return step == nullptr ? std::nullopt : step->mode.pending_;
    }

  private:
    /// A step that is running; steps of the same or of another mode may run within it.
    struct Step {
        explicit Step(const ContinueOnError& itsMode) : mode(itsMode) { innermost_ = this; }
        ~Step() { innermost_ = outer; }
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;

        const ContinueOnError& mode;
        const Step* outer = innermost_;
    };

    static inline const Step* innermost_ = nullptr;

    std::optional<RuntimeError> pending_;
};

/// Go-to-handler mode: runs `body`; an error is written to the log and the operation ends normally.
/// True when the body came to its end.
template <class Body>
bool LogErrors(Logger& logger, LogLevel level, const Text& source, Body&& body) {
    try {
        std::forward<Body>(body)();
        return true;
    } catch (...) {
        logger.Failure(CurrentError(), level, source);
        return false;
    }
}

}  // namespace bkfd
