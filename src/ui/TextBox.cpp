#include "ui/TextBox.h"

#include <algorithm>

#include "ui/Keys.h"

namespace bkfd {

void TextBox::SetText(Text text) {
    text_ = std::move(text);
    selectionStart_ = 0;
    selectionLength_ = 0;
    Notify({Aspect::Content});
}

void TextBox::Select(std::size_t start, std::size_t length) {
    selectionStart_ = std::min(start, text_.size());
    selectionLength_ = std::min(length, text_.size() - selectionStart_);
    Notify({Aspect::Selection});
}

void TextBox::ShowPlaceholder(Text placeholder) {
    placeholder_ = std::move(placeholder);
    SetText(placeholder_);
    SelectPlaceholder();
}

void TextBox::SelectPlaceholder() {
    if (HoldsPlaceholder()) Select(0, text_.size());
}

void TextBox::Click() {
    if (AcceptsInput()) SelectPlaceholder();
    Control::Click();
}

void TextBox::UserEdit(Text text) {
    if (!AcceptsInput() || readOnly_ || text == text_) return;
    text_ = std::move(text);
    selectionStart_ = text_.size();
    selectionLength_ = 0;
    onChange();
}

void TextBox::UserType(TextView text) {
    if (!AcceptsInput() || readOnly_) return;
    const std::size_t start = selectionStart_;
    Text edited = text_;
    edited.replace(start, selectionLength_, text);
    if (edited == text_) return;
    text_ = std::move(edited);
    selectionStart_ = start + text.size();
    selectionLength_ = 0;
    Notify({Aspect::Content});
    Notify({Aspect::Selection});
    onChange();
}

bool TextBox::ActOnKey(int keyCode, int shift) {
    if (!IsMultiLine() || keyCode != Key::Enter || shift != Shift::None) return false;
    UserType(u"\r\n");
    return true;
}

}  // namespace bkfd
