#include "platform/overlay/OverlayMachine.h"

namespace bkfd {
namespace {

/// How long a restart takes: more than the two minutes from which boot times are told apart.
constexpr std::int64_t kRestartSeconds = 180;

}  // namespace

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
