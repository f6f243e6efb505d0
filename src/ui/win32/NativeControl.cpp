#include "ui/win32/NativeControl.h"

#include "ui/Form.h"
#include "ui/Keys.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/Scope.h"

namespace bkfd::native {
namespace {

constexpr char kControlProperty[] = "BkfdControl";

}  // namespace

int CurrentShift() {
    const auto held = [](int key, int bit) { return ::GetKeyState(key) < 0 ? bit : 0; };
    return held(VK_SHIFT, Shift::Shift) | held(VK_CONTROL, Shift::Control) |
           held(VK_MENU, Shift::Alt);
}

NativeControl::NativeControl(Control& control, NativeForm& form) : target_(&control), form_(form) {}

NativeControl::~NativeControl() {
    if (!window_) return;
    form_.Drop(*this);
    ReplaceProcedure(window_, original_);
    ::RemovePropA(window_, kControlProperty);
    ::DestroyWindow(window_);
}

NativeControl* NativeControl::Of(HWND window) {
    return static_cast<NativeControl*>(::GetPropA(window, kControlProperty));
}

void NativeControl::Realise(HWND parent) {
    window_ = Make(parent, form_.Scale().AreaOf(*target_));
    if (!window_) return;
    ::SetPropA(window_, kControlProperty, this);
    original_ = ReplaceProcedure(window_, &NativeControl::Procedure);
    const Scope deaf(applying_);
    ReplayState();
}

HWND NativeControl::MakeChild(HWND parent, const RECT& area, TextView className, TextView text,
                              DWORD style, DWORD extendedStyle) const {
    DWORD all = WS_CHILD | WS_CLIPSIBLINGS | style;
    if (target_->Visible()) all |= WS_VISIBLE;
    if (!target_->Enabled()) all |= WS_DISABLED;
    if (target_->TakesFocus()) all |= WS_TABSTOP;
    const HWND window = Create(extendedStyle, className, text, all, area, parent);
    if (window) Send(window, WM_SETFONT, reinterpret_cast<WPARAM>(form_.Fonts().Plain()), FALSE);
    return window;
}

void NativeControl::Mirror(Change change) {
    if (!window_ || !target_) return;
    const Scope deaf(applying_);
    switch (change.aspect) {
        case Aspect::Enabled:
            ::EnableWindow(window_, target_->Enabled());
            break;
        case Aspect::Visible:
            ::ShowWindow(window_, target_->Visible() ? SW_SHOWNA : SW_HIDE);
            break;
        case Aspect::Bounds:
            form_.Layout().Move(window_, form_.Scale().AreaOf(*target_));
            break;
        default:
            break;
    }
    Apply(change);
}

void NativeControl::Apply(Change) {}

void NativeControl::Abandon() {
    target_ = nullptr;
    if (window_) ::ShowWindow(window_, SW_HIDE);
}

void NativeControl::HandleCommand(int code) {
    if (applying_ > 0 || !target_) return;
    const Scope busy(busy_);
    form_.Guard([&] { Commanded(code); });
}

LRESULT NativeControl::HandleNotification(NMHDR& header) {
    // Drawing is asked for at any time, also while a new state is being taken over.
    const bool draws = header.code == static_cast<UINT>(NM_CUSTOMDRAW);
    if ((applying_ > 0 && !draws) || !target_) return 0;
    const Scope busy(busy_);
    LRESULT result = 0;
    form_.Guard([&] { result = Notified(header); });
    return result;
}

LRESULT CALLBACK NativeControl::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    NativeControl* native = Of(window);
    if (!native) return CallDefault(window, message, wParam, lParam);
    return native->Process(message, wParam, lParam);
}

LRESULT NativeControl::Process(UINT message, WPARAM wParam, LPARAM lParam) {
    const Scope busy(busy_);
    const Scope formBusy(form_.Busy());
    std::optional<LRESULT> result;
    if (target_) {
        form_.Guard([&] {
            Form* form = target_->HostForm();
            if (message == WM_SETFOCUS && applying_ == 0 && form) form->UserFocus(*target_);
            if (message == WM_SETFOCUS && form) form_.ShowDefaultButton();
            result = Received(message, wParam, lParam);
        });
    }
    return result ? *result : CallOriginalProcedure(message, wParam, lParam);
}

std::optional<LRESULT> NativeControl::Received(UINT, WPARAM, LPARAM) {
    return std::nullopt;
}

void NativeControl::ReportMouseUp(int button, LPARAM lParam) {
    const int x = static_cast<short>(LOWORD(lParam));
    const int y = static_cast<short>(HIWORD(lParam));
    const PixelScale& scale = form_.Scale();
    target_->MouseUp(button, CurrentShift(), scale.ToTwips(x), scale.ToTwips(y));
}

}  // namespace bkfd::native
