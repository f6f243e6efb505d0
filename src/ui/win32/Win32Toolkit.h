#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "ui/Toolkit.h"

namespace bkfd {

namespace native {
class NativeForm;
}

/// Windows' own window system: its controls, in its message font, at its resolution. Works on both
/// families; see NativeCalls.h for the choice between wide and ANSI calls.
class Win32Toolkit : public Toolkit {
  public:
    Win32Toolkit();
    ~Win32Toolkit() override;

    /// The active window of the program is the box's owner.
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;
    void PumpMessages() override;
    void WaitForInput() override;
    void SetPointer(Pointer pointer) override;
    void EndProcess() override;

    void Realise(Form& form) override;
    void Changed(Control& control, Change change) override;
    void Forget(Control& control) override;
    void StartTimer(Timer& timer, int milliseconds) override;
    void StopTimer(Timer& timer) override;
    MenuItem* ShowPopupMenu(Form& form, MenuItem& menu) override;
    Text ClipboardText() override;
    void SetClipboardText(const Text& text) override;
    Size MeasureText(TextView text) override;
    Size FrameSize(const Form& form) override;
    std::uintptr_t NativeHandle(const Control& control) override;

    bool ShowsHourglass() const { return isWorking_ || CurrentPointer() == Pointer::Hourglass; }
    /// Runs what a command of the user's asks for, which may take long, under the hourglass. The
    /// pointer is what `CurrentPointer` says again while a message box or a modal form waits.
    void Work(const std::function<void()>& action);
    /// Runs a handler in the middle of the window system, through whose frames nothing may be
    /// thrown: what it throws comes out of the message loop.
    void KeepErrors(const std::function<void()>& action);

  private:
    struct Font;
    struct Message;

    native::NativeForm* FindForm(const Control& control) const;
    void Process(Message& message);
    void FireTimer(std::uintptr_t id);
    void Sweep();
    void Thaw();
    void ThrowKeptError();
    void ShowPointer() const;

    std::unique_ptr<Font> font_;
    std::vector<std::unique_ptr<native::NativeForm>> forms_;
    std::vector<std::unique_ptr<native::NativeForm>> abandoned_;
    std::map<std::uintptr_t, Timer*> timers_;
    std::exception_ptr error_;
    bool lastInputWasKey_ = false;
    bool isWorking_ = false;
};

}  // namespace bkfd
