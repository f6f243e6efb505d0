#pragma once

#include "ui/Toolkit.h"

namespace bkfd {

/// Windows' own window system.
class Win32Toolkit : public Toolkit {
  public:
    /// The active window of the program is the box's owner.
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;
    void PumpMessages() override;
    void SetPointer(Pointer pointer) override;
    void EndProcess() override;
};

}  // namespace bkfd
