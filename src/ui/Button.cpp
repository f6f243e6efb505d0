#include "ui/Button.h"

#include "ui/Keys.h"

namespace bkfd {

Button::Button(Container& parent, Text name, Text caption)
    : Control(&parent, std::move(name)), caption_(std::move(caption)) {}

void Button::SetCaption(Text caption) {
    caption_ = std::move(caption);
    Notify({Aspect::Content});
}

bool Button::ActOnKey(int keyCode, int shift) {
    if (shift != Shift::None || (keyCode != Key::Enter && keyCode != Key::Space)) return false;
    Click();
    return true;
}

}  // namespace bkfd
