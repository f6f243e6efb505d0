#include "ui/win32/Win32Toolkit.h"

#include <algorithm>

#include "ui/Timer.h"
#include "ui/win32/Clipboard.h"
#include "ui/win32/LongText.h"
#include "ui/win32/NativeForm.h"

namespace bkfd {

using native::NativeForm;

/// The system's font for messages, and the resolution that goes with it: a twip is a 1440th of an
/// inch for the usual font, and more for a wider one.
struct Win32Toolkit::Font {
    Font() {
        NONCLIENTMETRICSA metrics = {};
        metrics.cbSize = sizeof metrics;
        if (::SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) {
            font = ::CreateFontIndirectA(&metrics.lfMessageFont);
        }
        if (!font) font = static_cast<HFONT>(::GetStockObject(DEFAULT_GUI_FONT));
        ::SelectObject(screen, font);
        dotsPerInch = FindDotsPerInch();
    }
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;
    ~Font() {
        ::ReleaseDC(nullptr, screen);
        ::DeleteObject(font);
    }
    Size ToTwips(SIZE pixels) const {
        return {::MulDiv(pixels.cx, 1440, dotsPerInch), ::MulDiv(pixels.cy, 1440, dotsPerInch)};
    }

    // The forms' sizes are made for the usual font, in which this caption is 177 pixels wide at 96
    // dots per inch. With a wider font, such as that of users who want large letters, the windows
    // grow.
    int FindDotsPerInch() const {
        constexpr char kSample[] = "Restore All Configuration Settings";
        constexpr int kUsualWidth = 177;
        constexpr int kUsualDots = 96;
        const int resolution = ::GetDeviceCaps(screen, LOGPIXELSX);
        SIZE size = {};
        ::GetTextExtentPoint32A(screen, kSample, sizeof kSample - 1, &size);
        const int grown = ::MulDiv(kUsualDots, size.cx, kUsualWidth);
        const bool isUsual = grown <= resolution + resolution / 20;
        return isUsual ? resolution : grown;
    }

    HFONT font = nullptr;
    HDC screen = ::GetDC(nullptr);
    int dotsPerInch = 96;
};

struct Win32Toolkit::Message {
    MSG native = {};
};

Win32Toolkit::Win32Toolkit() : font_(std::make_unique<Font>()) {
    ::InitCommonControls();
}

Win32Toolkit::~Win32Toolkit() {
    for (const auto& [id, timer] : timers_) ::KillTimer(nullptr, id);
}

MessageResult Win32Toolkit::ShowMessageBox(const Text& prompt, int style, const Text& title) {
    const NativeText shown(native::FittedText(prompt));
    const NativeText shownTitle(title);
    Thaw();
    const bool wasWorking = std::exchange(isWorking_, false);
    if (wasWorking) ShowPointer();
    const HWND owner = ::GetActiveWindow();
    // Without a window of ours the box would come up behind those of others.
    const UINT flags = static_cast<UINT>(style) | (owner == nullptr ? MB_SETFOREGROUND : 0u);
    // This wide call is one of the few that both families have.
    const int pressed = ::MessageBoxW(owner, shown.Wide(), shownTitle.Wide(), flags);
    isWorking_ = wasWorking;
    if (wasWorking) ShowPointer();
    return pressed == IDOK ? MessageResult::Ok : MessageResult::Cancel;
}

void Win32Toolkit::PumpMessages() {
    Message message;
    Thaw();
    while (native::Peek(message.native)) Process(message);
    ThrowKeptError();
}

void Win32Toolkit::WaitForInput() {
    Message message;
    Thaw();
    if (std::exchange(isWorking_, false)) ShowPointer();
    if (!native::Wait(message.native)) EndProgram();
    Process(message);
    ThrowKeptError();
}

void Win32Toolkit::Process(Message& message) {
    MSG& native = message.native;
    const bool isKey = native.message >= WM_KEYFIRST && native.message <= WM_KEYLAST;
    if (isKey || native.message == WM_LBUTTONDOWN || native.message == WM_RBUTTONDOWN) {
        lastInputWasKey_ = isKey;
    }
    if (native.message == WM_TIMER && !native.hwnd) {
        KeepErrors([&] { FireTimer(native.wParam); });
        return;
    }
    HWND top = native.hwnd;
    while (top && (::GetWindowLongA(top, GWL_STYLE) & WS_CHILD) != 0) top = ::GetParent(top);
    NativeForm* form = top ? NativeForm::Of(top) : nullptr;
    bool done = false;
    if (form) form->Guard([&] { done = form->HandleKey(native); });
    if (!done && !(form && native::IsDialogKey(top, native))) native::Dispatch(native);
    Sweep();
}

void Win32Toolkit::KeepErrors(const std::function<void()>& action) {
    try {
        action();
    } catch (...) {
        if (!error_) error_ = std::current_exception();
    }
}

void Win32Toolkit::ThrowKeptError() {
    if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

void Win32Toolkit::SetPointer(Pointer pointer) {
    Toolkit::SetPointer(pointer);
    ShowPointer();
}

void Win32Toolkit::ShowPointer() const {
    ::SetCursor(::LoadCursorA(nullptr, ShowsHourglass() ? IDC_WAIT : IDC_ARROW));
}

void Win32Toolkit::Work(const std::function<void()>& action) {
    const bool wasWorking = std::exchange(isWorking_, true);
    const HCURSOR before = ::SetCursor(::LoadCursorA(nullptr, IDC_WAIT));
    action();
    const bool isShown = std::exchange(isWorking_, wasWorking);
    if (isShown && !ShowsHourglass()) ::SetCursor(before);
}

void Win32Toolkit::EndProcess() {
    ::ExitProcess(0);
}

void Win32Toolkit::Realise(Form& form) {
    forms_.push_back(std::make_unique<NativeForm>(form, *this, font_->font, font_->dotsPerInch));
}

NativeForm* Win32Toolkit::FindForm(const Control& control) const {
    const Form* form = control.HostForm();
    for (const auto& native : forms_) {
        if (form && native->Target() == form) return native.get();
    }
    return nullptr;
}

void Win32Toolkit::Changed(Control& control, Change change) {
    NativeForm* form = FindForm(control);
    if (!form) return;
    if (form->Target() == &control) {
        form->Mirror(change);
    } else if (native::NativeControl* native = form->Find(control)) {
        native->Mirror(change);
    }
}

void Win32Toolkit::Forget(Control& control) {
    const auto isForm = [&](const auto& native) { return native->Target() == &control; };
    const auto form = std::find_if(forms_.begin(), forms_.end(), isForm);
    if (form != forms_.end()) {
        (*form)->Abandon();
        abandoned_.push_back(std::move(*form));
        forms_.erase(form);
    } else {
        std::any_of(forms_.begin(), forms_.end(),
                    [&](const auto& native) { return native->Forget(control); });
    }
    Sweep();
}

void Win32Toolkit::Sweep() {
    Thaw();
    for (const auto& form : forms_) form->Sweep();
    std::erase_if(abandoned_, [](const auto& form) { return form->Sweep(); });
}

void Win32Toolkit::Thaw() {
    for (const auto& form : forms_) form->Thaw();
}

void Win32Toolkit::StartTimer(Timer& timer, int milliseconds) {
    const UINT_PTR id = ::SetTimer(nullptr, 0, static_cast<UINT>(milliseconds), nullptr);
    timers_[id] = &timer;
}

void Win32Toolkit::StopTimer(Timer& timer) {
    std::erase_if(timers_, [&](const auto& entry) {
        if (entry.second == &timer) ::KillTimer(nullptr, entry.first);
        return entry.second == &timer;
    });
}

void Win32Toolkit::FireTimer(std::uintptr_t id) {
    const auto found = timers_.find(id);
    if (found != timers_.end()) found->second->Fire();
}

MenuItem* Win32Toolkit::ShowPopupMenu(Form& form, MenuItem& menu) {
    NativeForm* native = FindForm(form);
    return native ? native->TrackPopup(menu, lastInputWasKey_) : nullptr;
}

Text Win32Toolkit::ClipboardText() {
    return native::ReadClipboard();
}

void Win32Toolkit::SetClipboardText(const Text& text) {
    native::WriteClipboard(text);
}

Size Win32Toolkit::MeasureText(TextView text) {
    return font_->ToTwips(native::Measure(font_->screen, text));
}

Size Win32Toolkit::FrameSize(const Form& form) {
    return font_->ToTwips(NativeForm::FrameOf(form));
}

std::uintptr_t Win32Toolkit::NativeHandle(const Control& control) {
    const NativeForm* form = FindForm(control);
    if (!form) return 0;
    const native::NativeControl* native = form->Find(control);
    const HWND window = form->Target() == &control ? form->Window()
                        : native                   ? native->Window()
                                                   : nullptr;
    return reinterpret_cast<std::uintptr_t>(window);
}

}  // namespace bkfd
