#pragma once

#include <string>

#include "services/Logger.h"

namespace bkfd {

/// A log as text: "level source: message" a line, with the code in front where it isn't 0: decimal,
/// or hexadecimal for those with the top bit set.
class LogText final : public Logger {
  public:
    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        if (code > 0) text += std::to_string(code) + ' ';
        if (code < 0) text += ToUtf8(ToHex(static_cast<std::uint32_t>(code))) + ' ';
        text += std::to_string(static_cast<int>(level)) + ' ' + ToUtf8(source) + ": " +
                ToUtf8(message) + '\n';
    }
    void Open(const Text&, const Text&) override {}

    std::string text;
};

}  // namespace bkfd
