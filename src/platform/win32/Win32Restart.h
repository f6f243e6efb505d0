#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The restart and the right to it. The Windows 95 family knows no privileges; there the calls
/// fail, and the restart needs none.
class Win32Restart : public Restart {
  public:
    Result<Handle> OpenProcessToken(std::uint32_t access) override;
    Result<std::uint64_t> LookupPrivilegeValueA(std::string_view name) override;
    Status AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                 std::uint32_t attributes) override;
    Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override;
};

}  // namespace bkfd
