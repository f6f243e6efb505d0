#pragma once

#include "platform/Machine.h"
#include "platform/model/CodePage.h"
#include "platform/model/MachineFacts.h"

namespace bkfd {

/// The time of a modelled machine.
class ModelClock {
  public:
    virtual ~ModelClock() = default;
    virtual Date Now() = 0;
    virtual std::uint32_t TickCount() = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
    /// Windows starts anew: the tick count begins again, at a boot time that no earlier start had.
    virtual void Restart() = 0;

  protected:
    /// How long a restart takes on a machine with a time of its own: more than the two minutes from
    /// which boot times are told apart.
    static constexpr std::int64_t kRestartSeconds = 180;
};

/// The system calls over a machine's facts.
class ModelSystem final : public SystemFacts {
  public:
    ModelSystem(const MachineFacts& facts, CodePage& codePage, ModelClock& clock)
        : facts_(facts), codePage_(codePage), clock_(clock) {}

    std::uint32_t GetVersion() override;
    Result<WindowsVersion> GetVersionExW() override;
    std::uint32_t GetTickCount() override { return clock_.TickCount(); }
    Date GetLocalTime() override { return clock_.Now(); }
    void Sleep(std::uint32_t milliseconds) override { clock_.Sleep(milliseconds); }
    Text ExpandEnvironmentStringsW(TextView text) override;
    Text GetTempPathW() override;
    Result<Text> GetSystemWow64DirectoryW() override;
    bool IsWow64Process() override { return facts_.isWow64Process; }
    bool IsUserAnAdmin() override { return facts_.isAdministrator; }
    Text GetModuleFileNameW() override;
    Text FormatMessageW(std::uint32_t code) override;
    std::string WideCharToMultiByte(TextView text) override { return codePage_.Encode(text); }
    Text MultiByteToWideChar(std::string_view bytes) override { return codePage_.Decode(bytes); }

  private:
    const MachineFacts& facts_;
    CodePage& codePage_;
    ModelClock& clock_;
};

}  // namespace bkfd
