#pragma once

#include <memory>

#include "common/LogText.h"
#include "identity/ApplicationStart.h"
#include "identity/CHashier.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "testing/HeadlessToolkit.h"
#include "testing/MachineDump.h"
#include "testing/MemoryMachine.h"

namespace bkfd {

/// A machine in memory, a screen without a user and a log, installed for one test with the facts
/// that start-up sets.
class EngineFixture {
  public:
    explicit EngineFixture(WindowsFamily family = WindowsFamily::NT)
        : machine(family), previousToolkit_(InstallToolkit(&toolkit)) {
        machine.SetEnvironment(u"programfiles", u"C:\\Program Files");
        Start();
    }
    ~EngineFixture() {
        gHashier.reset();
        InstallToolkit(previousToolkit_);
    }
    EngineFixture(const EngineFixture&) = delete;
    EngineFixture& operator=(const EngineFixture&) = delete;

    /// Reads the facts of the machine in use and drops what is remembered of its files.
    static void Start() { SetApplicationState(); }

    /// Starts anew on a machine that wraps this one's.
    void Use(Machine& wrapper) {
        InstallMachine(&wrapper);
        Start();
    }

    /// "style prompt" of each message box so far, a line each.
    std::string Messages() const {
        std::string text;
        for (const auto& shown : toolkit.Messages()) {
            text += std::to_string(shown.style) + ' ' + ToUtf8(shown.prompt) + '\n';
        }
        return text;
    }

    /// Whether the log has that in it.
    bool Logged(const std::string& part) const { return log->text.find(part) != std::string::npos; }

    MemoryMachine machine;
    InstalledMachine installed{machine};
    HeadlessToolkit toolkit;
    std::shared_ptr<LogText> log = std::make_shared<LogText>();

  private:
    Toolkit* previousToolkit_;
};

}  // namespace bkfd
