#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A push button. `onClick` is raised by the mouse, the keyboard and the button's letter alike.
class Button : public Control {
  public:
    Button(Container& parent, Text name, Text caption = {});

    const Text& Caption() const { return caption_; }
    void SetCaption(Text caption);
    /// Enter presses it wherever the focus is, unless the focused control wants Enter itself. Both
    /// are set before the form is shown, for one button of a form each.
    bool IsDefault() const { return default_; }
    void SetDefault(bool isDefault) { default_ = isDefault; }
    /// Escape presses it wherever the focus is.
    bool IsCancel() const { return cancel_; }
    void SetCancel(bool isCancel) { cancel_ = isCancel; }

    bool TakesFocus() const override { return true; }
    char16_t Mnemonic() const override { return MnemonicOf(caption_); }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    Text caption_;
    bool default_ = false;
    bool cancel_ = false;
};

}  // namespace bkfd
