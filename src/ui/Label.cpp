#include "ui/Label.h"

#include "ui/Keys.h"

namespace bkfd {

Label::Label(Container& parent, Text name, Text caption)
    : Control(&parent, std::move(name)), caption_(std::move(caption)) {}

void Label::SetCaption(Text caption) {
    caption_ = std::move(caption);
    Notify({Aspect::Content});
    Fit();
}

void Label::SetAutoSize(bool autoSize) {
    autoSize_ = autoSize;
    Fit();
}

void Label::SetLink(bool link) {
    link_ = link;
    Notify({Aspect::Content});
}

bool Label::ActOnKey(int keyCode, int shift) {
    const bool follows = keyCode == Key::Enter || keyCode == Key::Space;
    if (!link_ || !follows || shift != Shift::None) return false;
    MouseUp(MouseButton::Left);
    return true;
}

void Label::Fit() {
    if (!autoSize_) return;
    const Size size = TheToolkit().MeasureText(WithoutMnemonic(caption_));
    SetBounds({Left(), Top(), size.width, size.height});
}

}  // namespace bkfd
