#pragma once

#include <functional>

#include "platform/model/MachineFacts.h"
#include "platform/model/ModelProcesses.h"

namespace bkfd {

/// The restart calls.
class ModelSession final : public Restart {
  public:
    /// `restart` is called for an accepted request; what it returns is what the caller gets.
    ModelSession(const MachineFacts& facts, ModelProcesses& processes,
                 std::function<Status()> restart)
        : facts_(facts), processes_(processes), restart_(std::move(restart)) {}

    int RestartCount() const { return restartCount_; }

    Result<Handle> OpenProcessToken(std::uint32_t access) override;
    Result<std::uint64_t> LookupPrivilegeValueA(std::string_view name) override;
    Status AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                 std::uint32_t attributes) override;
    Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override;

  private:
    const MachineFacts& facts_;
    ModelProcesses& processes_;
    std::function<Status()> restart_;
    bool hasPrivilege_ = false;
    int restartCount_ = 0;
};

}  // namespace bkfd
