#pragma once

#include "ui/Event.h"

namespace bkfd {

/// Fires once, some time after it was started.
class Timer : public Watchable {
  public:
    Timer() = default;
    ~Timer();

    /// Starts it, anew if it is running.
    void Start(int milliseconds);
    void Stop();
    bool IsRunning() const { return running_; }

    /// The toolkit's entry: a running timer stops and raises `onTimer`.
    void Fire();

    Event<> onTimer;

  private:
    bool running_ = false;
};

}  // namespace bkfd
