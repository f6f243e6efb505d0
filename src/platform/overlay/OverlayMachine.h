#pragma once

#include "platform/model/ModelMachine.h"
#include "platform/overlay/OverlayVolume.h"

namespace bkfd {

/// The time of another machine, until a restart of its own.
class OverlayClock final : public ModelClock {
  public:
    explicit OverlayClock(ModelClock& below) : below_(below) {}

    Date Now() override { return AddSeconds(below_.Now(), addedSeconds_); }
    std::uint32_t TickCount() override { return below_.TickCount() - ticksAtRestart_; }
    void Sleep(std::uint32_t milliseconds) override { below_.Sleep(milliseconds); }
    void Restart() override;

  private:
    ModelClock& below_;
    std::int64_t addedSeconds_ = 0;
    std::uint32_t ticksAtRestart_ = 0;
};

/// A modelled machine over another one, which it reads and never changes: the registry, names,
/// contents and attributes of files, ended processes, a restart all stay here. It answers as that
/// machine would, refusals included, so that a dry run is the real run. The machine below must not
/// change meanwhile, and must outlive this one.
class OverlayMachine final : public ModelMachine {
  public:
    explicit OverlayMachine(const ModelMachine& below);

  private:
    Status RestartMachine() override;

    OverlayClock clock_;
    OverlayVolume volume_;
};

}  // namespace bkfd
