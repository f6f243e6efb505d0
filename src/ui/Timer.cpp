#include "ui/Timer.h"

#include "ui/Toolkit.h"

namespace bkfd {

Timer::~Timer() {
    Stop();
}

void Timer::Start(int milliseconds) {
    Stop();
    running_ = true;
    TheToolkit().StartTimer(*this, milliseconds);
}

void Timer::Stop() {
    if (!running_) return;
    running_ = false;
    if (Toolkit* toolkit = InstalledToolkit()) toolkit->StopTimer(*this);
}

void Timer::Fire() {
    if (!running_) return;
    Stop();
    onTimer();
}

}  // namespace bkfd
