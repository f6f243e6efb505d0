#include "ui/Label.h"

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

void Label::Fit() {
    if (!autoSize_) return;
    const Size size = TheToolkit().MeasureText(WithoutMnemonic(caption_));
    SetBounds({Left(), Top(), size.width, size.height});
}

}  // namespace bkfd
