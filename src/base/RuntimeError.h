#pragma once

#include <cstdint>
#include <exception>

#include "base/Text.h"

namespace bkfd {

/// Numbers of run-time errors, those of Windows automation.
enum class ErrorNumber : std::int32_t {
    InvalidProcedureCall = 5,
    Overflow = 6,
    OutOfMemory = 7,
    SubscriptOutOfRange = 9,
    TypeMismatch = 13,
    Internal = 51,
    FileNotFound = 53,
    DeviceIo = 57,
    PathFileAccess = 75,
    ObjectNotSet = 91,
    CannotCreateObject = 429,
    MemberNotFound = 438,
    KeyAlreadyAssociated = 457,
};

/// The one kind of error inside the engine: a number and a description for the log.
class RuntimeError : public std::exception {
  public:
    explicit RuntimeError(ErrorNumber number);
    RuntimeError(ErrorNumber number, Text description);
    /// For numbers that come from elsewhere, such as an HRESULT.
    RuntimeError(std::int32_t number, Text description);

    std::int32_t Number() const { return number_; }
    const Text& Description() const { return description_; }
    /// The description as UTF-8.
    const char* what() const noexcept override { return utf8_.c_str(); }

  private:
    std::int32_t number_;
    Text description_;
    std::string utf8_;
};

/// The error that is being handled, as a RuntimeError: itself, or Out of memory or Internal for an
/// exception of the C++ library. Call it inside a catch block. What is no std::exception, such as
/// ProgramEnd, is no error: it goes on its way up.
RuntimeError CurrentError();

}  // namespace bkfd
