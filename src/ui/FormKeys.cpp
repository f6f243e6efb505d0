#include <algorithm>

#include "ui/Button.h"
#include "ui/Form.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

// All controls below `container`, in the order in which they were made.
void Collect(const Container& container, std::vector<Control*>& controls) {
    for (Control* child : container.Children()) {
        controls.push_back(child);
        if (const auto* inner = dynamic_cast<const Container*>(child)) Collect(*inner, controls);
    }
}

std::vector<Control*> AllControls(const Form& form) {
    std::vector<Control*> controls;
    Collect(form, controls);
    return controls;
}

template <class Accepts>
Button* FindButton(const Form& form, Accepts accepts) {
    for (Control* control : AllControls(form)) {
        auto* button = dynamic_cast<Button*>(control);
        if (button && accepts(*button)) return button;
    }
    return nullptr;
}

}  // namespace

Button* Form::DefaultButton() {
    return FindButton(*this, [](const Button& button) { return button.IsDefault(); });
}

Button* Form::CancelButton() {
    return FindButton(*this, [](const Button& button) { return button.IsCancel(); });
}

bool Form::CanHoldFocus(const Control& control) const {
    if (!control.TakesFocus()) return false;
    for (const Control* part = &control; part != this; part = part->Parent()) {
        if (!part || !part->Visible() || !part->Enabled()) return false;
    }
    return true;
}

std::vector<Control*> Form::TabOrder() const {
    std::vector<Control*> order = AllControls(*this);
    std::erase_if(order, [this](const Control* control) { return !CanHoldFocus(*control); });
    return order;
}

Control* Form::Focused() const {
    Control* last = focus_.Get();
    if (last && CanHoldFocus(*last)) return last;
    const std::vector<Control*> order = TabOrder();
    return order.empty() ? nullptr : order.front();
}

void Form::FocusOn(Control& control) {
    if (!CanHoldFocus(control)) return;
    focus_ = &control;
    Notify({Aspect::Focus});
}

void Form::RepairFocus() {
    const Control* last = focus_.Get();
    if (!last || CanHoldFocus(*last)) return;
    focus_ = Focused();
    Notify({Aspect::Focus});
}

void Form::UserFocus(Control& control) {
    if (AcceptsInput() && CanHoldFocus(control)) focus_ = &control;
}

void Form::UserTab(bool forward) {
    const std::vector<Control*> order = TabOrder();
    if (!AcceptsInput() || order.empty()) return;
    const auto here = std::find(order.begin(), order.end(), Focused());
    const std::size_t at = static_cast<std::size_t>(here - order.begin());
    const std::size_t step = forward ? 1 : order.size() - 1;
    FocusOn(*order[(at + step) % order.size()]);
}

template <class Raise>
void Form::RaiseKey(int& code, Raise raise) {
    const Weak<Form> self = this;
    const Weak<Control> focus = AcceptsInput() ? Focused() : nullptr;
    if (AcceptsInput() && (keyPreview_ || !focus)) raise(*this, code);
    if (self && code != 0 && focus && focus->AcceptsInput()) raise(*focus.Get(), code);
    if (!self || !AcceptsInput()) code = 0;
}

void Form::KeyDown(int& keyCode, int shift) {
    RaiseKey(keyCode, [shift](Control& control, int& code) { control.onKeyDown(code, shift); });
}

void Form::KeyPress(int& character) {
    RaiseKey(character, [](Control& control, int& code) { control.onKeyPress(code); });
}

void Form::KeyUp(int& keyCode, int shift) {
    RaiseKey(keyCode, [shift](Control& control, int& code) { control.onKeyUp(code, shift); });
}

void Form::PressKey(int keyCode, int shift) {
    const Weak<Form> self = this;
    int code = keyCode;
    KeyDown(code, shift);
    const bool makesCharacter = code == Key::Enter || code == Key::Escape || code == Key::Space;
    if (self && makesCharacter && (shift & (Shift::Control | Shift::Alt)) == 0) KeyPress(code);
    if (self && code != 0) ActOnKey(code, shift);
    if (self) KeyUp(keyCode, shift);
}

bool Form::ActOnKey(int keyCode, int shift) {
    if (!AcceptsInput()) return false;
    if (shift == Shift::Alt) return PressMnemonic(ToLower(static_cast<char16_t>(keyCode)));
    if (keyCode == Key::Tab && (shift & ~Shift::Shift) == 0) {
        UserTab(shift == Shift::None);
        return true;
    }
    Control* focus = Focused();
    if (focus && focus->AcceptsInput() && focus->ActOnKey(keyCode, shift)) return true;
    if (shift != Shift::None) return false;
    Button* button = keyCode == Key::Enter    ? DefaultButton()
                     : keyCode == Key::Escape ? CancelButton()
                                              : nullptr;
    if (button) button->Click();
    return button != nullptr;
}

// A button's letter clicks it; a label's goes to the control that follows it.
bool Form::PressMnemonic(char16_t letter) {
    bool found = false;
    for (Control* control : AllControls(*this)) {
        if (found && CanHoldFocus(*control)) {
            FocusOn(*control);
            return true;
        }
        if (found || control->Mnemonic() != letter || !control->AcceptsInput()) continue;
        if (dynamic_cast<Button*>(control)) {
            control->Click();
            return true;
        }
        found = true;
    }
    return false;
}

}  // namespace bkfd
