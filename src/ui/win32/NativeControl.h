#pragma once

#include <memory>
#include <optional>

#include "ui/Control.h"
#include "ui/win32/NativeCalls.h"

namespace bkfd::native {

class NativeForm;

/// The native window of one control. It outlives the control while one of its own procedures still
/// runs; `Target` is null then.
class NativeControl {
  public:
    NativeControl(Control& control, NativeForm& form);
    NativeControl(const NativeControl&) = delete;
    NativeControl& operator=(const NativeControl&) = delete;
    virtual ~NativeControl();

    HWND Window() const { return window_; }
    Control* Target() const { return target_; }
    NativeForm& OwningForm() const { return form_; }

    /// Makes the window inside `parent` and brings all of the control's state into it.
    void Realise(HWND parent);
    /// Takes over a part of the control's state, deaf to what the window reports meanwhile.
    void Mirror(Change change);
    /// The control goes: the window is hidden and reports nothing any more.
    void Abandon();
    bool IsBusy() const { return busy_ > 0; }

    /// WM_COMMAND and WM_NOTIFY that the window has sent to its parent.
    void HandleCommand(int code);
    LRESULT HandleNotification(NMHDR& header);
    /// Sets the colours of the window's text on the device and returns the brush behind it. Null
    /// for the usual ones, which don't depend on the `background` that the window stands on.
    virtual HBRUSH Paint(HDC, HBRUSH /*background*/) { return nullptr; }
    /// What the controls that stand in this one have behind them.
    virtual HBRUSH Background() const { return ::GetSysColorBrush(COLOR_BTNFACE); }
    /// Finds its place among the form's windows when all are there, and its colours then and
    /// whenever the system's have changed.
    virtual void Settle() {}

    /// Where a popup menu that was asked for by a key belongs, in the window.
    virtual POINT MenuPlace() const { return {}; }

    /// Draws again what was left undrawn since `NativeForm::ThawLater`.
    virtual void Thaw() {}

    static NativeControl* Of(HWND window);

  protected:
    /// Makes the window; `area` in pixels.
    virtual HWND Make(HWND parent, const RECT& area) = 0;
    /// Everything that `Change`s could tell, after `Make`.
    virtual void ReplayState() {}
    virtual void Apply(Change change);
    virtual void Commanded(int /*code*/) {}
    virtual LRESULT Notified(NMHDR&) { return 0; }
    /// A message to the window itself; a result means that the window doesn't see it.
    virtual std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam);

    /// A window of a system class with the styles that all have; `extendedStyle` is mostly 0.
    HWND MakeChild(HWND parent, const RECT& area, TextView className, TextView text, DWORD style,
                   DWORD extendedStyle = 0) const;
    template <class Kind>
    Kind* As() const {
        return static_cast<Kind*>(target_);
    }
    LRESULT Tell(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const {
        return Send(window_, message, wParam, lParam);
    }
    LRESULT CallOriginalProcedure(UINT message, WPARAM wParam, LPARAM lParam) const {
        return CallOriginal(original_, window_, message, wParam, lParam);
    }
    /// Raises the mouse events of a button's release at the client position in `lParam`.
    void ReportMouseUp(int button, LPARAM lParam);

  private:
    static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM);
    LRESULT Process(UINT message, WPARAM wParam, LPARAM lParam);

    Control* target_;
    NativeForm& form_;
    HWND window_ = nullptr;
    WNDPROC original_ = nullptr;
    int applying_ = 0;
    int busy_ = 0;
};

std::unique_ptr<NativeControl> MakeNativeControl(Control& control, NativeForm& form);

/// The shift state of the message that is being processed.
int CurrentShift();

}  // namespace bkfd::native
