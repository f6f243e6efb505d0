#include "ui/Button.h"
#include "ui/Keys.h"
#include "ui/TextBox.h"
#include "ui/win32/NativeForm.h"

namespace bkfd::native {
namespace {

bool IsManyLines(Control* control) {
    const auto* box = dynamic_cast<TextBox*>(control);
    return box && box->IsMultiLine();
}

bool IsCommandKey(int code) {
    return code >= Key::F1 && code < Key::F1 + 24;
}

}  // namespace

bool NativeForm::HandleKey(MSG& message) {
    if (!target_) return false;
    switch (message.message) {
        case WM_KEYDOWN:
        case WM_SYSKEYDOWN:
            return HandleKeyDown(message);
        case WM_CHAR:
            return HandleCharacter(message);
        case WM_SYSCHAR: {
            // The system's own search for a letter wants a dialog. Alt+Enter is a key of ours,
            // which it would beep at.
            const int letter = static_cast<int>(message.wParam);
            bool isDone = letter == Key::Enter;
            Work([&] { isDone = target_->ActOnKey(letter, Shift::Alt) || isDone; });
            return isDone;
        }
        case WM_KEYUP:
        case WM_SYSKEYUP: {
            int code = static_cast<int>(message.wParam);
            const auto release = [&] { target_->KeyUp(code, CurrentShift()); };
            if (IsCommandKey(code)) {
                Work(release);
            } else {
                release();
            }
            return code == 0;
        }
        default:
            return false;
    }
}

// Enter, Escape and Tab go through the form, which knows its buttons and the order of its controls;
// a box of many lines takes Enter itself. Their character comes here because the dialog keys make
// no WM_CHAR of them.
bool NativeForm::HandleKeyDown(MSG& message) {
    const int shift = CurrentShift();
    int code = static_cast<int>(message.wParam);
    // A command's key that is held down asks once.
    constexpr LPARAM kWasDown = 1 << 30;
    if (IsCommandKey(code) && (message.lParam & kWasDown) != 0) return true;
    if (code == Key::F10 && shift == Shift::Shift) {
        // What keyboards without a key for the context menu have; the system would open the bar's.
        int menuKey = Key::ContextMenu;
        target_->KeyUp(menuKey, Shift::None);
        return true;
    }
    target_->KeyDown(code, shift);
    if (code == 0 || !target_) return true;
    message.wParam = static_cast<WPARAM>(code);
    if (message.message == WM_SYSKEYDOWN) return false;
    if (code == Key::Tab && (shift & Shift::Control) != 0) {
        Dispatch(message);
        return true;
    }
    if (code == Key::Tab) {
        MoveFocus((shift & Shift::Shift) == 0);
        return true;
    }
    if (code != Key::Enter && code != Key::Escape) return false;
    int character = code;
    target_->KeyPress(character);
    if (character == 0 || !target_) return true;
    if (code == Key::Enter && IsManyLines(target_->Focused())) {
        Dispatch(message);
    } else {
        Work([&] { target_->ActOnKey(code, shift); });
    }
    return true;
}

// As in the system's dialogs, a box of one line is selected as a whole.
void NativeForm::MoveFocus(bool forward) {
    target_->UserTab(forward);
    const Control* focused = target_ ? target_->Focused() : nullptr;
    const NativeControl* native = focused ? Find(*focused) : nullptr;
    const auto* box = dynamic_cast<const TextBox*>(focused);
    if (native && box && !box->IsMultiLine()) Send(native->Window(), EM_SETSEL, 0, -1);
}

bool NativeForm::HandleCharacter(MSG& message) {
    int character = static_cast<int>(message.wParam);
    const bool wasRaised = character == Key::Enter || character == Key::Escape;
    if (wasRaised || character == Key::Tab) return false;
    target_->KeyPress(character);
    message.wParam = static_cast<WPARAM>(character);
    return character == 0;
}

void NativeForm::ChooseMenu(UINT id) {
    if (MenuItem* entry = menuBar_.Find(id)) Work([&] { entry->Choose(); });
}

MenuItem* NativeForm::TrackPopup(MenuItem& menu, bool atFocus) {
    POINT place = {};
    ::GetCursorPos(&place);
    if (atFocus) {
        const HWND focus = ::GetFocus() ? ::GetFocus() : window_;
        const NativeControl* control = NativeControl::Of(focus);
        place = control ? control->MenuPlace() : POINT{};
        ::ClientToScreen(focus, &place);
    }
    return native::TrackPopup(window_, menu, place);
}

}  // namespace bkfd::native
