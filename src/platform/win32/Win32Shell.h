#pragma once

#include "platform/Machine.h"

namespace bkfd {

class Win32Shell : public Shell {
  public:
    Status ShellExecuteA(std::string_view verb, std::string_view file) override;
    Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                           std::uintptr_t window) override;
    Status WinExec(TextView commandLine) override;
};

}  // namespace bkfd
