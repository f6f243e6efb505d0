#include "platform/overlay/OverlayMachine.h"

namespace bkfd {
void OverlayClock::Restart() {
    addedSeconds_ += kRestartSeconds;
    ticksAtRestart_ = below_.TickCount();
}

OverlayMachine::OverlayMachine(const ModelMachine& below)
    : ModelMachine(below, volume_, clock_),
      clock_(ClockOf(below)),
      volume_(VolumeOf(below), [this] { return clock_.Now(); }) {}

Status OverlayMachine::RestartMachine() {
    clock_.Restart();
    processes_.DropMissing([this](const Text& path) { return !volume_.Find(path).IsNotThere(); });
    return {};
}

}  // namespace bkfd
