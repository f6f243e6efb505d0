#pragma once

#include <string>

#include "detection/identity/CHashier.h"
#include "platform/memory/MemoryMachine.h"
#include "services/ApplicationState.h"
#include "services/Logger.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/headless/HeadlessToolkit.h"

namespace bkfd {

/// A log as text: "level source: message" a line, with the code in front where it isn't 0.
class LogText final : public Logger {
  public:
    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        if (code != 0) text += ToUtf8(ToHex(static_cast<std::uint32_t>(code))) + ' ';
        text += std::to_string(static_cast<int>(level)) + ' ' + ToUtf8(source) + ": " +
                ToUtf8(message) + '\n';
    }
    void Open(const Text&, const Text&) override {}

    std::string text;
};

/// A machine in memory, a screen without a user and a log, installed for one test with the facts
/// that start-up sets. Pumping messages moves the clock on.
class RemovalBench {
  public:
    explicit RemovalBench(WindowsFamily family = WindowsFamily::NT)
        : machine(family), previousToolkit_(InstallToolkit(&toolkit)) {
        toolkit.onPump = [this] { machine.AdvanceClock(100); };
        Use(machine);
    }
    ~RemovalBench() {
        InstallMachine(previousMachine_);
        InstallToolkit(previousToolkit_);
        gHashier.reset();
    }
    RemovalBench(const RemovalBench&) = delete;
    RemovalBench& operator=(const RemovalBench&) = delete;

    /// Installs a machine that wraps this one's, and starts anew on it.
    void Use(Machine& installed) {
        Machine* previous = InstallMachine(&installed);
        if (!isInstalled_) previousMachine_ = previous;
        isInstalled_ = true;
        gHashier = std::make_unique<CHashier>();
        gIsNT = IsWindowsNT();
        gIsNT4 = IsWindowsNT4();
        gWindowsPath = WithBackslash(ToLower(SysUtil::ExpandEnvironment(u"%windir%")));
        gSystemPath = gWindowsPath + (gIsNT ? u"system32\\" : u"system\\");
    }

    /// "style prompt" of each message box so far, a line each.
    std::string Messages() const {
        std::string text;
        for (const auto& shown : toolkit.Messages())
            text += std::to_string(shown.style) + ' ' + ToUtf8(shown.prompt) + '\n';
        return text;
    }

    MemoryMachine machine;
    HeadlessToolkit toolkit;
    std::shared_ptr<LogText> log = std::make_shared<LogText>();

  private:
    Machine* previousMachine_ = nullptr;
    Toolkit* previousToolkit_;
    bool isInstalled_ = false;
};

/// Whether the program ended inside `steps`.
template <class Steps>
bool EndsProgram(Steps&& steps) {
    try {
        steps();
        return false;
    } catch (const ProgramEnd&) {
        return true;
    }
}

}  // namespace bkfd
