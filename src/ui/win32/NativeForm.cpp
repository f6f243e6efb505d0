#include "ui/win32/NativeForm.h"

#include <algorithm>
#include <utility>

#include "ui/Button.h"
#include "ui/win32/PictureResources.h"
#include "ui/win32/Scope.h"
#include "ui/win32/Win32Toolkit.h"
#include "win32/DynamicCall.h"

namespace bkfd::native {
namespace {

constexpr char kClass[] = "BrackenfoldForm";
constexpr char kFormProperty[] = "BkfdForm";
constexpr UINT kActivated = WM_APP + 1;
constexpr UINT kThemeChanged = 0x031A;       // WM_THEMECHANGED, unknown before Windows XP
constexpr UINT kResolutionChanged = 0x02E0;  // WM_DPICHANGED, unknown before Windows 8.1

DWORD StyleOf(const Form& form) {
    switch (form.Border()) {
        case FormBorder::None:
            return WS_POPUP | WS_BORDER | WS_CLIPCHILDREN;
        case FormBorder::Fixed:
            return WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN;
        case FormBorder::Sizable:
            break;
    }
    // A window with an owner has no place on the task bar to be minimised to.
    const DWORD minimise = form.Owner() ? 0 : WS_MINIMIZEBOX;
    return (WS_OVERLAPPEDWINDOW & ~WS_MINIMIZEBOX) | minimise | WS_CLIPCHILDREN;
}

DWORD ExtendedStyleOf(const Form& form) {
    return form.Border() == FormBorder::Fixed ? WS_EX_DLGMODALFRAME | WS_EX_CONTROLPARENT
                                              : WS_EX_CONTROLPARENT;
}

/// Dots per inch of the screen that the program started on, for which font and scale are made.
int UsualResolution() {
    const HDC screen = ::GetDC(nullptr);
    const int resolution = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    return resolution;
}

/// The same of the screen that a window is on; 0 where the system doesn't tell.
int ResolutionOf(HWND window) {
    static const DynamicCall<UINT(WINAPI*)(HWND)> call("user32.dll", "GetDpiForWindow");
    return window && call.IsThere() ? static_cast<int>(call(window)) : 0;
}

OwnedFont FontFor(HFONT usual, int resolution) {
    LOGFONTA description = {};
    ::GetObjectA(usual, sizeof description, &description);
    description.lfHeight = ::MulDiv(description.lfHeight, resolution, UsualResolution());
    return OwnedFont(::CreateFontIndirectA(&description));
}

HWND WindowOf(const Form* form) {
    return form ? reinterpret_cast<HWND>(TheToolkit().NativeHandle(*form)) : nullptr;
}

}  // namespace

NativeForm::NativeForm(Form& form, Win32Toolkit& toolkit, HFONT font, int dotsPerInch)
    : target_(&form),
      toolkit_(toolkit),
      usualFont_(font),
      usualDots_(dotsPerInch),
      resolution_(UsualResolution()),
      fonts_(font),
      scale_(dotsPerInch) {
    RegisterWindowClass(kClass, &NativeForm::Procedure, CS_DBLCLKS);
    const SIZE frame = FrameOf(form);
    const RECT area = {0, 0, scale_.ToPixels(form.Width()) + frame.cx,
                       scale_.ToPixels(form.Height()) + frame.cy};
    const Scope deaf(applying_);
    window_ = Create(ExtendedStyleOf(form), FromAscii(kClass), form.Caption(), StyleOf(form), area,
                     WindowOf(form.Owner()));
    if (!window_) return;
    ::SetPropA(window_, kFormProperty, this);
    ShowIcons();
    ReplaceMenu();
    ::SetWindowPos(window_, nullptr, 0, 0, area.right, area.bottom,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    leastSize_ = {area.right, area.bottom};
    RealiseChildren(form, window_);
    for (const auto& native : controls_) native->Settle();
    ShowDefaultButton();
}

NativeForm::~NativeForm() {
    abandoned_.clear();
    while (!controls_.empty()) controls_.pop_back();  // what stands in a panel goes before it
    if (!window_) return;
    ::RemovePropA(window_, kFormProperty);
    ::DestroyWindow(window_);
}

void NativeForm::ShowIcons() {
    const auto show = [this](OwnedIcon& icon, WPARAM size, int x, int y) {
        icon = LoadIconResource(target_->IconName(), ::GetSystemMetrics(x), ::GetSystemMetrics(y));
        if (icon.IsThere()) {
            Send(window_, WM_SETICON, size, reinterpret_cast<LPARAM>(icon.Get()));
        }
    };
    show(icon_, ICON_BIG, SM_CXICON, SM_CYICON);
    show(smallIcon_, ICON_SMALL, SM_CXSMICON, SM_CYSMICON);
}

NativeForm* NativeForm::Of(HWND window) {
    return static_cast<NativeForm*>(::GetPropA(window, kFormProperty));
}

SIZE NativeForm::FrameOf(const Form& form, HWND window) {
    using Adjust = BOOL(WINAPI*)(RECT*, DWORD, BOOL, DWORD, UINT);
    static const DynamicCall<Adjust> adjust("user32.dll", "AdjustWindowRectExForDpi");
    const BOOL hasMenu = form.MenuBar().empty() ? FALSE : TRUE;
    const int resolution = ResolutionOf(window);
    RECT area = {};
    if (adjust.IsThere() && resolution != 0) {
        adjust(&area, StyleOf(form), hasMenu, ExtendedStyleOf(form), static_cast<UINT>(resolution));
    } else {
        ::AdjustWindowRectEx(&area, StyleOf(form), hasMenu, ExtendedStyleOf(form));
    }
    return {area.right - area.left, area.bottom - area.top};
}

void NativeForm::RealiseChildren(Container& container, HWND parent) {
    for (Control* child : container.Children()) {
        controls_.push_back(MakeNativeControl(*child, *this));
        NativeControl& native = *controls_.back();
        native.Realise(parent);
        auto* inner = dynamic_cast<Container*>(child);
        if (inner && native.Window()) RealiseChildren(*inner, native.Window());
    }
}

NativeControl* NativeForm::Find(const Control& control) const {
    for (const auto& native : controls_) {
        if (native->Target() == &control) return native.get();
    }
    return nullptr;
}

bool NativeForm::Forget(const Control& control) {
    const auto found = std::find_if(controls_.begin(), controls_.end(), [&](const auto& native) {
        return native->Target() == &control;
    });
    if (found == controls_.end()) return false;
    (*found)->Abandon();
    abandoned_.push_back(std::move(*found));
    controls_.erase(found);
    return true;
}

void NativeForm::Abandon() {
    target_ = nullptr;
    for (const auto& native : controls_) native->Abandon();
    ::ShowWindow(window_, SW_HIDE);
}

bool NativeForm::Sweep() {
    if (busy_ > 0) return false;
    std::erase_if(abandoned_, [](const auto& native) { return !native->IsBusy(); });
    return !target_;
}

void NativeForm::Guard(const std::function<void()>& action) {
    const Scope busy(busy_);
    toolkit_.KeepErrors(action);
}

void NativeForm::Work(const std::function<void()>& command) {
    toolkit_.Work([&] { Guard(command); });
}

void NativeForm::Mirror(Change change) {
    if (!window_ || !target_) return;
    const Scope deaf(applying_);
    switch (change.aspect) {
        case Aspect::Content:
            SetTextOf(window_, target_->Caption());
            ::InvalidateRect(window_, nullptr, TRUE);
            break;
        case Aspect::Visible:
            SetShown();
            break;
        case Aspect::Enabled:
        case Aspect::Blocked:
            ::EnableWindow(window_, target_->Enabled() && !target_->IsBlocked());
            AdoptSize();  // which may have changed while nothing was accepted
            break;
        case Aspect::Active:
            ::SetForegroundWindow(window_);
            break;
        case Aspect::Focus:
            TakeFocus();
            break;
        case Aspect::Menu:
            ReplaceMenu();
            break;
        case Aspect::Bounds:
            SetClientSize();
            break;
        default:
            break;
    }
}

void NativeForm::SetClientSize() {
    RECT client = {};
    ::GetClientRect(window_, &client);
    const RECT wanted = scale_.ToPixels(Bounds{0, 0, target_->Width(), target_->Height()});
    if (::EqualRect(&client, &wanted)) return;
    const SIZE frame = FrameOf(*target_, window_);
    ::SetWindowPos(window_, nullptr, 0, 0, wanted.right + frame.cx, wanted.bottom + frame.cy,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void NativeForm::SetShown() {
    if (!target_->Visible()) {
        ::ShowWindow(window_, SW_HIDE);
        return;
    }
    SetOwner(window_, WindowOf(target_->Owner()));
    ::EnableWindow(window_, target_->Enabled() && !target_->IsBlocked());
    FitOnScreen();
    ::ShowWindow(window_, SW_SHOW);
    TakeFocus();
    ::UpdateWindow(window_);
}

// Over the owner if that can be seen, else in the middle of the screen; never beyond the work area.
void NativeForm::FitOnScreen() {
    RECT work = {};
    ::SystemParametersInfoA(SPI_GETWORKAREA, 0, &work, 0);
    RECT around = work;
    const HWND owner = WindowOf(target_->Owner());
    if (owner && ::IsWindowVisible(owner) && !::IsIconic(owner)) ::GetWindowRect(owner, &around);
    RECT own = {};
    ::GetWindowRect(window_, &own);
    const LONG width = std::min(own.right - own.left, work.right - work.left);
    const LONG height = std::min(own.bottom - own.top, work.bottom - work.top);
    leastSize_ = {std::min(leastSize_.cx, width), std::min(leastSize_.cy, height)};
    const auto place = [](LONG low, LONG high, LONG size, LONG least, LONG most) {
        return std::max(least, std::min((low + high - size) / 2, most - size));
    };
    ::SetWindowPos(window_, nullptr, place(around.left, around.right, width, work.left, work.right),
                   place(around.top, around.bottom, height, work.top, work.bottom), width, height,
                   SWP_NOZORDER | SWP_NOACTIVATE);
    AdoptSize();
}

void NativeForm::TakeFocus() {
    const Control* focused = target_->Focused();
    const NativeControl* native = focused ? Find(*focused) : nullptr;
    if (::GetActiveWindow() == window_) ::SetFocus(native ? native->Window() : window_);
}

// A button that has the focus takes Enter, so it looks like the default one meanwhile.
void NativeForm::ShowDefaultButton() {
    const Control* pressed = dynamic_cast<const Button*>(target_->Focused());
    if (!pressed) pressed = target_->DefaultButton();
    for (const auto& native : controls_) {
        if (!dynamic_cast<const Button*>(native->Target())) continue;
        const LONG wanted = native->Target() == pressed ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON;
        const LONG style = ::GetWindowLongA(native->Window(), GWL_STYLE);
        if ((style & BS_TYPEMASK) == wanted) continue;
        Send(native->Window(), BM_SETSTYLE, static_cast<WPARAM>(wanted), TRUE);
    }
}

void NativeForm::Drop(const NativeControl& native) {
    placements_.Forget(native.Window());
    std::erase(frozen_, &native);
}

void NativeForm::Thaw() {
    for (NativeControl* native : std::exchange(frozen_, {})) native->Thaw();
}

void NativeForm::Resize(int width, int height) {
    placements_.InBatch(
        [&] { target_->UserResize(scale_.ToTwips(width), scale_.ToTwips(height)); });
}

// The native window may have a size that the form knows nothing of.
void NativeForm::AdoptSize() {
    RECT client = {};
    ::GetClientRect(window_, &client);
    const RECT known = scale_.ToPixels(Bounds{0, 0, target_->Width(), target_->Height()});
    if (::IsIconic(window_) || ::EqualRect(&client, &known)) return;
    Guard([&] { Resize(client.right, client.bottom); });
}

// The window has come to a screen of another resolution. The controls hold what they show, so their
// windows are made anew for it; those that are at work go later.
void NativeForm::AdoptResolution(int dotsPerInch, const RECT& area) {
    if (dotsPerInch <= 0 || dotsPerInch == resolution_) return;
    {
        const Scope deaf(applying_);
        auto before = std::exchange(controls_, {});
        for (auto native = before.rbegin(); native != before.rend(); ++native) {
            (*native)->Abandon();
            abandoned_.push_back(std::move(*native));
        }
        leastSize_ = {::MulDiv(leastSize_.cx, dotsPerInch, resolution_),
                      ::MulDiv(leastSize_.cy, dotsPerInch, resolution_)};
        resolution_ = dotsPerInch;
        font_ = FontFor(usualFont_, dotsPerInch);
        fonts_ = TextFonts(font_.Get());
        scale_ = PixelScale(::MulDiv(usualDots_, dotsPerInch, UsualResolution()));
        ::SetWindowPos(window_, nullptr, area.left, area.top, area.right - area.left,
                       area.bottom - area.top, SWP_NOZORDER | SWP_NOACTIVATE);
        RealiseChildren(*target_, window_);
        for (const auto& native : controls_) native->Settle();
        ShowDefaultButton();
        TakeFocus();
    }
    AdoptSize();
    ::RedrawWindow(window_, nullptr, nullptr, RDW_ERASE | RDW_INVALIDATE | RDW_ALLCHILDREN);
}

// The system's colours or its visual style have changed: only the form is told of it.
void NativeForm::AdoptColours(UINT message, WPARAM wParam, LPARAM lParam) {
    for (const auto& native : controls_) {
        if (message == WM_SYSCOLORCHANGE) Send(native->Window(), message, wParam, lParam);
        native->Settle();
    }
    ::RedrawWindow(window_, nullptr, nullptr, RDW_ERASE | RDW_INVALIDATE | RDW_ALLCHILDREN);
}

void NativeForm::PaintOutlines() {
    PAINTSTRUCT paint = {};
    const HDC device = ::BeginPaint(window_, &paint);
    for (const Outline& outline : target_->Outlines()) {
        const RECT area = scale_.ToPixels(outline.area);
        const COLORREF colour = IsHighContrast() ? ::GetSysColor(COLOR_WINDOWTEXT)
                                                 : static_cast<COLORREF>(outline.colour);
        const HBRUSH brush = ::CreateSolidBrush(colour);
        ::FrameRect(device, &area, brush);
        ::DeleteObject(brush);
    }
    ::EndPaint(window_, &paint);
}

LRESULT CALLBACK NativeForm::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    NativeForm* form = Of(window);
    if (!form) return CallDefault(window, message, wParam, lParam);
    return form->Process(message, wParam, lParam);
}

LRESULT NativeForm::Process(UINT message, WPARAM wParam, LPARAM lParam) {
    const Scope busy(busy_);
    std::optional<LRESULT> result;
    if (target_) {
        Guard([&] {
            result = FromChild(message, wParam, lParam);
            if (!result) result = Received(message, wParam, lParam);
        });
    }
    return result ? *result : CallDefault(window_, message, wParam, lParam);
}

std::optional<LRESULT> NativeForm::FromChild(UINT message, WPARAM wParam, LPARAM lParam) {
    const auto from = [](LPARAM window) {
        return NativeControl::Of(reinterpret_cast<HWND>(window));
    };
    if (message == WM_COMMAND && lParam != 0) {
        if (NativeControl* native = from(lParam)) native->HandleCommand(HIWORD(wParam));
        return 0;
    }
    if (message == WM_NOTIFY) {
        auto& header = *reinterpret_cast<NMHDR*>(lParam);
        NativeControl* native = NativeControl::Of(header.hwndFrom);
        return native ? native->HandleNotification(header) : 0;
    }
    if (message == WM_CTLCOLORSTATIC) {
        return FromStatic(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam));
    }
    return std::nullopt;
}

std::optional<LRESULT> NativeForm::FromStatic(HDC device, HWND window) {
    NativeControl* native = NativeControl::Of(window);
    if (!native || !native->Target()) return std::nullopt;
    const NativeControl* container = NativeControl::Of(::GetParent(window));
    const HBRUSH brush = native->Paint(
        device, container ? container->Background() : ::GetSysColorBrush(COLOR_BTNFACE));
    if (!brush) return std::nullopt;
    return reinterpret_cast<LRESULT>(brush);
}

std::optional<LRESULT> NativeForm::Received(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CLOSE:
            // Others can ask while a message box, which the form knows nothing of, disables it.
            if (::IsWindowEnabled(window_)) target_->UserClose();
            return 0;
        case WM_COMMAND:
            if (HIWORD(wParam) == 0) ChooseMenu(LOWORD(wParam));
            return 0;
        case WM_SIZE:
            if (applying_ == 0 && wParam != SIZE_MINIMIZED) Resize(LOWORD(lParam), HIWORD(lParam));
            return 0;
        case WM_GETMINMAXINFO: {
            const bool byUser = applying_ == 0 && target_->Border() == FormBorder::Sizable;
            if (byUser) {
                reinterpret_cast<MINMAXINFO*>(lParam)->ptMinTrackSize = {leastSize_.cx,
                                                                         leastSize_.cy};
            }
            return std::nullopt;
        }
        case kResolutionChanged:
            AdoptResolution(LOWORD(wParam), *reinterpret_cast<const RECT*>(lParam));
            return 0;
        case WM_SYSCOLORCHANGE:
        case kThemeChanged:
            AdoptColours(message, wParam, lParam);
            return std::nullopt;
        case WM_ACTIVATE:
            // The handler may work for long: it runs when the system is through with activating.
            if (LOWORD(wParam) != WA_INACTIVE && applying_ == 0) {
                ::PostMessageA(window_, kActivated, 0, 0);
            }
            return std::nullopt;
        case kActivated:
            target_->UserActivate();
            return 0;
        case WM_SETFOCUS:
            TakeFocus();
            return 0;
        case WM_SETCURSOR:
            if (LOWORD(lParam) != HTCLIENT || !toolkit_.ShowsHourglass()) return std::nullopt;
            ::SetCursor(::LoadCursorA(nullptr, IDC_WAIT));
            return TRUE;
        case WM_PAINT:
            PaintOutlines();
            return 0;
        default:
            return std::nullopt;
    }
}

}  // namespace bkfd::native
