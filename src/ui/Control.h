#pragma once

#include <vector>

#include "base/Text.h"
#include "ui/Event.h"
#include "ui/Geometry.h"
#include "ui/Toolkit.h"

namespace bkfd {

class Button;
class Container;
class Form;
class Label;
class ListBox;
class ListView;
class NativeChild;
class Panel;
class Picture;
class TabStrip;
class TextBox;

/// One operation for each kind of control, for whoever shows them.
class ControlVisitor {
  public:
    virtual ~ControlVisitor() = default;
    virtual void Visit(Button& button) = 0;
    virtual void Visit(Form& form) = 0;
    virtual void Visit(Label& label) = 0;
    virtual void Visit(ListBox& box) = 0;
    virtual void Visit(ListView& view) = 0;
    virtual void Visit(NativeChild& child) = 0;
    virtual void Visit(Panel& panel) = 0;
    virtual void Visit(Picture& picture) = 0;
    virtual void Visit(TabStrip& strip) = 0;
    virtual void Visit(TextBox& box) = 0;
};

/// The letter behind the first single "&" of a caption, in lower case, or 0.
char16_t MnemonicOf(TextView caption);
/// The caption as it is seen: each "&" stands for its follower.
Text WithoutMnemonic(TextView caption);

/// Part of a window. The control is the state; what the user sees is a mirror that the toolkit
/// keeps, if it keeps one. Setters store and tell the toolkit, and never raise an event (except a
/// container's `onResize`). The user's entries, here and in the derived classes, do nothing unless
/// the control accepts input; otherwise they change the state and raise the event once. A handler
/// may destroy any control, its own too.
///
/// Controls are made before their form is shown, and stand in the tab order in which they are made.
/// Positions and indices count from 1, and 0 means "none".
class Control : public Watchable {
  public:
    /// `parent` is null for forms alone. `name` is the control's name in its form's code.
    Control(Container* parent, Text name);
    virtual ~Control();

    const Text& Name() const { return name_; }
    Container* Parent() const { return parent_; }
    /// The form that holds the control, at whatever depth; null outside of any form.
    Form* HostForm();
    const Form* HostForm() const { return const_cast<Control*>(this)->HostForm(); }

    bool Enabled() const { return enabled_; }
    void SetEnabled(bool enabled);
    /// The control's own setting; a visible control of a hidden panel isn't on the screen.
    bool Visible() const { return visible_; }
    virtual void SetVisible(bool visible);
    /// Whether the user can act on it: it and all that holds it are visible and enabled, and no
    /// modal form stands before its form.
    bool AcceptsInput() const;

    const Bounds& Area() const { return bounds_; }
    int Left() const { return bounds_.left; }
    int Top() const { return bounds_.top; }
    int Width() const { return bounds_.width; }
    int Height() const { return bounds_.height; }
    /// Negative widths and heights become 0.
    void SetBounds(Bounds bounds);
    void SetLeft(int left);
    void SetTop(int top);
    void SetWidth(int width);
    void SetHeight(int height);

    /// Whether the keyboard focus can rest on this kind of control.
    virtual bool TakesFocus() const { return false; }
    bool HasFocus() const;
    /// Moves the focus here if the control can take it now, else does nothing.
    void SetFocus();

    /// The letter that the user types with Alt to get here, in lower case, or 0.
    virtual char16_t Mnemonic() const { return 0; }
    /// What a key does in the focused control where no native one acts on it. False if nothing.
    virtual bool ActOnKey(int /*keyCode*/, int /*shift*/) { return false; }

    // The user's entries. `button` and `shift` are as in Keys.h, positions in twips.
    virtual void Click();
    void DoubleClick();
    void MouseUp(int button, int shift = 0, int x = 0, int y = 0);

    Event<> onClick;
    Event<> onDoubleClick;
    Event<int /*button*/, int /*shift*/, int /*x*/, int /*y*/> onMouseUp;
    /// A handler that sets the key code or the character to 0 keeps the key from having any effect.
    Event<int& /*keyCode*/, int /*shift*/> onKeyDown;
    Event<int& /*character*/> onKeyPress;
    Event<int& /*keyCode*/, int /*shift*/> onKeyUp;

    virtual void Accept(ControlVisitor& visitor) = 0;

  protected:
    /// Tells the toolkit, if the control is mirrored.
    void Notify(Change change);
    virtual void Resized() {}
    void StoreVisible(bool visible) { visible_ = visible; }

  private:
    friend class Container;

    Container* parent_;
    Text name_;
    bool enabled_ = true;
    bool visible_ = true;
    Bounds bounds_;
};

/// A control that holds others.
class Container : public Control {
  public:
    using Control::Control;
    ~Container() override;

    const std::vector<Control*>& Children() const { return children_; }
    /// The control of that name, exact in case and at whatever depth, or null.
    Control* FindControl(TextView name);

    /// Raised whenever the client area changes its size, by the user or by program: windows place
    /// their controls here. A form raises it after `onLoad` too.
    Event<> onResize;

  protected:
    void Resized() override { onResize(); }

  private:
    friend class Control;
    std::vector<Control*> children_;
};

/// A part of a window that is shown, hidden and placed as a whole.
class Panel : public Container {
  public:
    Panel(Container& parent, Text name) : Container(&parent, std::move(name)) {}
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }
};

}  // namespace bkfd
