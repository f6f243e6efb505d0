#pragma once

#include <vector>

#include "ui/Control.h"
#include "ui/Menu.h"

namespace bkfd {

/// Why a form is being unloaded, with the runtime's numbers.
enum class UnloadMode { ControlMenu = 0, Code = 1 };

enum class FormBorder { Sizable, Fixed, None };

/// A rectangle's outline that a form draws on itself. `colour` is 0x00BBGGRR.
struct Outline {
    Bounds area;
    int colour = 0;
};

/// A window. It is made, then loaded (by `Load` or by being shown), shown and hidden, and unloaded;
/// it can be loaded again. `Area()` has the client size, and the place on the screen once the form
/// was shown.
///
/// The user acts on a form through `UserClose`, `UserResize`, `UserActivate` and the keyboard
/// entries; keys go to the control that has the focus.
class Form : public Container {
  public:
    explicit Form(Text name);
    /// Takes the window from the screen; no event is raised. Forms that have handlers unload first.
    ~Form() override;

    const Text& Caption() const { return caption_; }
    void SetCaption(Text caption);
    /// Set before the form is shown: border, and the name of an icon resource.
    FormBorder Border() const { return border_; }
    void SetBorder(FormBorder border) { border_ = border; }
    const Text& IconName() const { return iconName_; }
    void SetIconName(Text name) { iconName_ = std::move(name); }

    void SetClientSize(int width, int height);
    /// The whole window's width, which is the client area's and that of `Toolkit::FrameSize`.
    int WindowWidth() const;
    void SetWindowWidth(int width);
    const std::vector<Outline>& Outlines() const { return outlines_; }
    void DrawOutline(Outline outline);

    bool IsLoaded() const { return loaded_; }
    /// Raises `onLoad` and then `onResize`, unless the form is loaded already.
    void Load();
    /// Loads the form if need be, puts it on the screen before `owner` (which may be null) and
    /// raises `onActivate`; returns at once. A form that is visible already is only activated.
    void Show(Form* owner = nullptr);
    /// The same, and processes input until the form is hidden or unloaded.
    /// All forms but this one, and those it owns, are blocked meanwhile. A RuntimeError
    /// InvalidProcedureCall if the form is visible already.
    void ShowModal(Form* owner = nullptr);
    void Hide();
    /// Show or Hide.
    void SetVisible(bool visible) override;
    /// Raises `onQueryUnload`, and unless that cancels it `onUnload`, then takes the form from the
    /// screen. Nothing happens to a form that isn't loaded, or is being unloaded.
    void Unload(UnloadMode mode = UnloadMode::Code);
    bool IsModal() const { return modal_; }
    Form* Owner() const { return owner_.Get(); }
    bool IsBlocked() const;
    /// Whether a mirror is kept: from the first `Show` to the unloading.
    bool IsRealised() const { return realised_; }

    /// The menu bar's menus, in order.
    const std::vector<MenuItem*>& MenuBar() const { return menus_; }
    /// Pops up the entries of `menu` and chooses the one that the user picks.
    void PopupMenu(MenuItem& menu);

    /// Whether the form sees keys before the focused control. Without it the form sees them only
    /// while no control has the focus.
    void SetKeyPreview(bool preview) { keyPreview_ = preview; }
    /// The button that Enter and Escape press, or null.
    Button* DefaultButton();
    Button* CancelButton();

    /// The control that has the focus: the one set last if it can still have it, else the first in
    /// the tab order that can; or null.
    Control* Focused() const;
    /// The controls that Tab stops at now, in order.
    std::vector<Control*> TabOrder() const;

    /// Raised once per loading, before the form is first shown.
    Event<> onLoad;
    /// Raised when the form becomes the active one, by being shown or by the user.
    Event<> onActivate;
    Event<bool& /*cancel*/, UnloadMode> onQueryUnload;
    Event<> onUnload;

    // The user's entries.
    void UserClose();
    void UserResize(int clientWidth, int clientHeight);
    void UserActivate();
    /// Moves the focus along the tab order.
    void UserTab(bool forward);
    /// The focus came to `control` by the user's hand.
    void UserFocus(Control& control);
    /// The events of a key for toolkits whose native windows do the rest: key preview first, then
    /// the focused control. An argument that is 0 afterwards must have no effect.
    void KeyDown(int& keyCode, int shift);
    void KeyPress(int& character);
    void KeyUp(int& keyCode, int shift);
    /// A whole key stroke for toolkits without native windows: the events, and between the press
    /// and the release what the key does: default and cancel button, tab order, mnemonics, arrows.
    void PressKey(int keyCode, int shift = 0);

    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    friend class Control;
    friend class Desktop;
    friend class MenuItem;

    void Appear(Form* owner);
    void Activate();
    void Disappear();
    bool ConsentsToUnload(UnloadMode mode);
    void BlockingChanged() { Notify({Aspect::Blocked}); }
    void MenuChanged() { Notify({Aspect::Menu}); }
    void FocusOn(Control& control);
    void RepairFocus();
    bool CanHoldFocus(const Control& control) const;
    template <class Raise>
    void RaiseKey(int& code, Raise raise);
    bool PressMnemonic(char16_t letter);

    Text caption_;
    FormBorder border_ = FormBorder::Sizable;
    Text iconName_;
    std::vector<Outline> outlines_;
    std::vector<MenuItem*> menus_;
    Weak<Form> owner_;
    Weak<Control> focus_;
    bool keyPreview_ = false;
    bool loaded_ = false;
    bool realised_ = false;
    bool modal_ = false;
    bool unloading_ = false;
};

}  // namespace bkfd
