#pragma once

#include <cstddef>
#include <string>

#include "platform/forward/ForwardMachine.h"

namespace bkfd {

/// Which of a machine's calls fail, and how. Only calls that can fail count.
class FaultPlan : public CallGate {
  public:
    enum class Lasting { Once, FromThenOn };

    /// The `number`-th call from now on, counted from 1, fails with `code`; 0 is none.
    void FailCall(std::size_t number, Lasting lasting, std::uint32_t code = SystemError::IoDevice);

    /// Calls since the plan was made or `FailCall` was last called.
    std::size_t CallCount() const { return count_; }
    /// The first call that failed, such as "MoveFileW"; empty if none did.
    const std::string& FailedCall() const { return failedCall_; }

    Status Enter(const char* call) override;

  private:
    std::size_t number_ = 0;
    Lasting lasting_ = Lasting::Once;
    std::uint32_t code_ = SystemError::IoDevice;
    std::size_t count_ = 0;
    std::string failedCall_;
};

/// A machine of which a chosen call fails without being made.
class FaultMachine final : public FaultPlan, public ForwardMachine {
  public:
    explicit FaultMachine(Machine& target)
        : ForwardMachine(target, static_cast<FaultPlan&>(*this)) {}
};

}  // namespace bkfd
