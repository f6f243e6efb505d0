#pragma once

#include <optional>
#include <utility>

#include "services/Logger.h"

namespace bkfd {

/// Continue-on-error mode: each step runs whatever became of the one before, and the last error is
/// kept until it is taken.
class ContinueOnError {
  public:
    template <class Step>
    void operator()(Step&& step) {
        try {
            std::forward<Step>(step)();
        } catch (...) {
            pending_ = CurrentError();
        }
    }

    /// The last error, which is then no longer pending.
    std::optional<RuntimeError> TakePending() { return std::exchange(pending_, std::nullopt); }

  private:
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
