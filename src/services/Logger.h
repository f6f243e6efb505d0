#pragma once

#include <cstdint>
#include <memory>

#include "base/RuntimeError.h"
#include "base/Variant.h"

namespace bkfd {

/// How grave a log line is; no other values occur.
enum class LogLevel : std::int32_t {
    SystemFailure = 0,  // an operation on the system failed
    WindowFailure = 4,  // window and inventory code failed
    Trace = 5,          // the normal course; the code is 0
};

/// The log. Also reachable by name ("Write", "Open"), so that a component can hold it or put
/// another in its place.
class Logger : public Object {
  public:
    /// Appends one line. `code` is the number of the error or 0; `source` is the class's name, a
    /// point and the operation's name. Failing to write is no error: the log is lost, not the work.
    virtual void Write(std::int32_t code, const Text& message, LogLevel level,
                       const Text& source) = 0;
    /// Makes both logs ready for writing; called once, before any `Write`. A log that can't be
    /// opened is a RuntimeError PathFileAccess.
    virtual void Open(const Text& fullLogPath, const Text& shortLogPath) = 0;

    void Trace(const Text& message, const Text& source) {
        Write(0, message, LogLevel::Trace, source);
    }
    /// A caught error: its number and its description.
    void Failure(const RuntimeError& error, LogLevel level, const Text& source) {
        Write(error.Number(), error.Description(), level, source);
    }

    bool HasMember(TextView name) const override;
    Variant Invoke(TextView name, std::span<Variant> arguments) override;
};

using LoggerRef = std::shared_ptr<Logger>;

/// A `Logger` that writes to two files of the machine.
///
/// A line is "time level code source: message", such as
/// "2026-11-16 09:39:04 4 80070005 FMain.Form_Load: Access is denied.": UTF-8, ended by CR LF, the
/// code in hexadecimal. Line ends and control characters are written as blanks, so that a line of
/// the log is one event.
///
/// The full log keeps earlier runs; one beyond 512 KiB is cut to its newest 256 KiB, at a line,
/// when it is opened. The short log holds this run's start lines and failures.
LoggerRef MakeFileLogger();

/// The logger that an object stands for: itself when it is a `Logger`, a wrapper when it
/// has a member "Write", or null.
LoggerRef AsLogger(const ObjectRef& object);

}  // namespace bkfd
