#pragma once

#include "services/Logger.h"

namespace bkfd {

/// Drops what is logged.
class NoLog final : public Logger {
  public:
    void Write(std::int32_t, const Text&, LogLevel, const Text&) override {}
    void Open(const Text&, const Text&) override {}
};

}  // namespace bkfd
