#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A text on the window. The letter behind an "&" moves the focus to the control that follows the
/// label in the tab order.
class Label : public Control {
  public:
    Label(Container& parent, Text name, Text caption = {});

    const Text& Caption() const { return caption_; }
    void SetCaption(Text caption);
    /// An auto-sized label takes the size of its caption, now and at every new caption.
    void SetAutoSize(bool autoSize);
    /// A link is underlined, in the system's link colour, with a hand for a pointer, and takes the
    /// focus. Its owner acts on `onMouseUp`, which Enter and Space raise too. Set before the form
    /// is shown.
    bool IsLink() const { return link_; }
    void SetLink(bool link);

    char16_t Mnemonic() const override { return MnemonicOf(caption_); }
    bool TakesFocus() const override { return link_; }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    void Fit();

    Text caption_;
    bool autoSize_ = false;
    bool link_ = false;
};

}  // namespace bkfd
