#pragma once

#include "platform/win32/Win32Components.h"
#include "platform/win32/Win32Files.h"
#include "platform/win32/Win32Http.h"
#include "platform/win32/Win32Processes.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32Restart.h"
#include "platform/win32/Win32Shell.h"
#include "platform/win32/Win32SystemFacts.h"

namespace bkfd {

/// The machine that the program runs on.
class Win32Machine : public Machine {
  public:
    SystemFacts& System() override { return system_; }
    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return restart_; }
    Components& ComponentObjects() override { return components_; }
    Shell& ShellCommands() override { return shell_; }
    Http& HttpRequests() override { return http_; }

  private:
    Win32SystemFacts system_;
    Win32Registry registry_;
    Win32Files files_;
    Win32Processes processes_;
    Win32Restart restart_;
    Win32Components components_;
    Win32Shell shell_;
    Win32Http http_;
};

}  // namespace bkfd
