#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "testing/FaultMachine.h"

namespace bkfd {

/// A machine whose calls fail in turn, each in a process of its own that splits off where the call
/// is made, so that what comes before is done once.
class SplittingMachine final : private CallGate, public ForwardMachine {
  public:
    SplittingMachine(Machine& target, FaultPlan::Lasting lasting)
        : ForwardMachine(target, static_cast<CallGate&>(*this)), lasting_(lasting) {}

    /// From the next call of that name on; of any name if it is empty. Of the calls one in `every`
    /// fails.
    void Begin(std::string from = {}, std::size_t every = 1) {
        from_ = std::move(from);
        every_ = every;
        isOn_ = true;
    }
    /// Whether this is such a process; it ends with `EndProcess`.
    bool HasFailed() const { return !failedCall_.empty(); }
    const std::string& FailedCall() const { return failedCall_; }
    std::size_t Count() const { return count_; }

    [[noreturn]] static void EndProcess() {
        (void)std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }

  private:
    Status Enter(const char* call) override {
        if (HasFailed()) {
            return lasting_ == FaultPlan::Lasting::Once ? Status{} : Status{SystemError::IoDevice};
        }
        if (!isOn_ || testing::Test::HasFailure() || (!from_.empty() && from_ != call)) return {};
        from_.clear();
        if (++count_ % every_ != 0) return {};
        (void)std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            failedCall_ = call;
            return {SystemError::IoDevice};
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "call " << count_ << ", " << call;
        return {};
    }

    FaultPlan::Lasting lasting_;
    std::string from_;
    std::string failedCall_;
    bool isOn_ = false;
    std::size_t count_ = 0;
    std::size_t every_ = 1;
};

/// Each call fails in `./test all`; else one of so many.
inline std::size_t EveryOne(std::size_t step) {
    return std::getenv("BKFD_WHOLE_SWEEPS") != nullptr ? 1 : step;
}
/// What fails for good fails much the same from one call to the next.
inline std::size_t EveryOne(FaultPlan::Lasting lasting) {
    return lasting == FaultPlan::Lasting::Once ? 1 : EveryOne(7);
}

/// Runs `work` on the machine, then `check`, once for each call that `Begin` lets fail, and once
/// without a failure. More than a hundred calls are expected.
inline void SweepFaults(Machine& machine, FaultPlan::Lasting lasting,
                        const std::function<void(SplittingMachine&)>& work,
                        const std::function<void()>& check) {
    SplittingMachine splitting(machine, lasting);
    try {
        work(splitting);
        SCOPED_TRACE(splitting.FailedCall());
        check();
    } catch (const std::exception& error) {
        ADD_FAILURE() << splitting.FailedCall() << ": " << error.what();
    }
    if (splitting.HasFailed()) SplittingMachine::EndProcess();
    EXPECT_GT(splitting.Count(), 100U);
}

}  // namespace bkfd
