#pragma once

#include <unordered_map>

#include "platform/forward/ForwardMachine.h"

namespace bkfd {

/// Knows what a handle to a process stands for, for those that tell of ended ones.
class NamedProcesses : public ForwardProcesses {
  public:
    NamedProcesses(Machine& target, CallGate& gate)
        : ForwardProcesses(target.ProcessTable(), gate), system_(target.System()) {}

    Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    Status CloseHandle(Handle handle) override;
    Status Process32First(Handle snapshot, ProcessEntry& entry) override;
    Status Process32Next(Handle snapshot, ProcessEntry& entry) override;

  protected:
    /// Of a handle that was opened through this one; else 0.
    std::uint32_t IdOf(Handle process) const;
    /// The path of a process's program, or its name where the Windows 95 family tells no more;
    /// empty if it can't be had.
    Text ProgramOf(std::uint32_t processId);

  private:
    Text ProgramOfNT(std::uint32_t processId);
    /// As the newest snapshot that showed the process has it.
    Text ProgramOf9x(std::uint32_t processId);

    SystemFacts& system_;
    std::unordered_map<Handle, std::uint32_t> opened_;
    std::unordered_map<std::uint32_t, Text> shown_;
};

}  // namespace bkfd
