#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ui/Form.h"
#include "ui/win32/NativeControl.h"
#include "ui/win32/NativeMenu.h"
#include "ui/win32/PixelScale.h"
#include "ui/win32/Placements.h"
#include "ui/win32/TextFonts.h"

namespace bkfd {
class Win32Toolkit;
}

namespace bkfd::native {

/// The native window of a form, with those of its controls.
class NativeForm {
  public:
    /// `dotsPerInch` turns twips into pixels.
    NativeForm(Form& form, Win32Toolkit& toolkit, HFONT font, int dotsPerInch);
    NativeForm(const NativeForm&) = delete;
    NativeForm& operator=(const NativeForm&) = delete;
    ~NativeForm();

    HWND Window() const { return window_; }
    Form* Target() const { return target_; }
    const TextFonts& Fonts() const { return fonts_; }
    const PixelScale& Scale() const { return scale_; }
    Placements& Layout() { return placements_; }

    void Mirror(Change change);
    NativeControl* Find(const Control& control) const;
    /// The control goes, and with it the natives of all that stands in its window. False if the
    /// control is none of this form's.
    bool Forget(const Control& control);
    /// The form goes: it is hidden and reports nothing any more.
    void Abandon();
    /// Destroys what is abandoned and not at work. True if the whole form may be destroyed.
    bool Sweep();

    int& Busy() { return busy_; }
    /// Runs handlers: what they throw waits until the message loop has the control again.
    void Guard(const std::function<void()>& action);
    /// The same for a command of the user's, which may take long.
    void Work(const std::function<void()>& command);
    /// Marks the button that Enter presses now.
    void ShowDefaultButton();
    /// `Thaw` is called before the next message is waited for.
    void ThawLater(NativeControl& native) { frozen_.push_back(&native); }
    void Thaw();
    /// The native's window goes.
    void Drop(const NativeControl& native);

    /// Key and character messages before they are dispatched. True if the message is done with.
    bool HandleKey(MSG& message);

    /// Shows a popup menu at the mouse pointer, or `atFocus`, and waits for the choice, or null.
    MenuItem* TrackPopup(MenuItem& menu, bool atFocus);

    /// A message that a panel passes on to its form.
    std::optional<LRESULT> FromChild(UINT message, WPARAM wParam, LPARAM lParam);

    static NativeForm* Of(HWND window);
    /// What border, title and menu add to the client area, in pixels of the window's screen.
    static SIZE FrameOf(const Form& form, HWND window = nullptr);

  private:
    static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM);
    LRESULT Process(UINT message, WPARAM wParam, LPARAM lParam);
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam);
    void ShowIcons();
    void RealiseChildren(Container& container, HWND parent);
    void ReplaceMenu() { menuBar_.Replace(window_, target_->MenuBar()); }
    void ChooseMenu(UINT id);
    void SetShown();
    void FitOnScreen();
    void TakeFocus();
    void Resize(int width, int height);
    void AdoptSize();
    void AdoptResolution(int dotsPerInch, const RECT& area);
    void AdoptColours(UINT message, WPARAM wParam, LPARAM lParam);
    std::optional<LRESULT> FromStatic(HDC device, HWND window);
    void PaintOutlines();
    void SetClientSize();
    bool HandleKeyDown(MSG& message);
    bool HandleCharacter(MSG& message);
    void MoveFocus(bool forward);

    Form* target_;
    Win32Toolkit& toolkit_;
    const HFONT usualFont_;  // of the screen that the toolkit was made for, as its dots
    const int usualDots_;
    int resolution_;  // of the screen that the window is on, in dots per inch
    HWND window_ = nullptr;
    OwnedFont font_;  // of another screen
    TextFonts fonts_;
    PixelScale scale_;
    NativeMenuBar menuBar_;
    Placements placements_;
    OwnedIcon icon_;
    OwnedIcon smallIcon_;
    SIZE leastSize_ = {};  // of the whole window
    std::vector<std::unique_ptr<NativeControl>> controls_;
    std::vector<std::unique_ptr<NativeControl>> abandoned_;
    std::vector<NativeControl*> frozen_;
    int applying_ = 0;
    int busy_ = 0;
};

}  // namespace bkfd::native
