#pragma once

#include "platform/host/HostVolume.h"
#include "platform/model/ModelMachine.h"

namespace bkfd {

namespace detail {

/// No time passes on a machine that has nothing but files.
class StoppedClock final : public ModelClock {
  public:
    Date Now() override { return 0; }
    std::uint32_t TickCount() override { return 0; }
    void Sleep(std::uint32_t) override {}
    void Restart() override {}
};

}  // namespace detail

/// A machine that has nothing but some files of the system that the program runs on, to be read: no
/// registry, no processes.
class HostMachine final : public ModelMachine {
  public:
    HostMachine();

    HostVolume& HostFiles() { return volume_; }

  protected:
    Status RestartMachine() override { return {SystemError::PrivilegeNotHeld}; }

  private:
    detail::StoppedClock clock_;
    HostVolume volume_;
};

}  // namespace bkfd
