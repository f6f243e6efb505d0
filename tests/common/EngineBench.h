#pragma once

#include <memory>

#include "common/LogText.h"
#include "detection/identity/CHashier.h"
#include "platform/memory/MemoryMachine.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/headless/HeadlessToolkit.h"

namespace bkfd {

/// A machine in memory, a screen without a user and a log, installed for one test with the facts
/// that start-up sets.
class EngineBench {
  public:
    explicit EngineBench(WindowsFamily family = WindowsFamily::NT)
        : machine(family), previousToolkit_(InstallToolkit(&toolkit)) {
        machine.SetEnvironment(u"programfiles", u"C:\\Program Files");
        Start();
    }
    ~EngineBench() {
        gHashier.reset();
        InstallToolkit(previousToolkit_);
    }
    EngineBench(const EngineBench&) = delete;
    EngineBench& operator=(const EngineBench&) = delete;

    /// Reads the machine's facts and drops what is remembered of its files.
    void Start() {
        gHashier = std::make_unique<CHashier>();
        gIsNT = IsWindowsNT();
        gIsNT4 = IsWindowsNT4();
        gWindowsPath = WithBackslash(ToLower(SysUtil::ExpandEnvironment(u"%windir%")));
        gSystemPath = gWindowsPath + (gIsNT ? u"system32\\" : u"system\\");
    }

    MemoryMachine machine;
    InstalledMachine installed{machine};
    HeadlessToolkit toolkit;
    std::shared_ptr<LogText> log = std::make_shared<LogText>();

  private:
    Toolkit* previousToolkit_;
};

}  // namespace bkfd
