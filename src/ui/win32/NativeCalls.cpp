#include "ui/win32/NativeCalls.h"

namespace bkfd::native {

HWND Create(DWORD extendedStyle, TextView className, TextView text, DWORD style, const RECT& area,
            HWND parent, HMENU menu) {
    const NativeText nativeClass(className);
    const NativeText nativeText(text);
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    if (HasWideCalls()) {
        return ::CreateWindowExW(extendedStyle, nativeClass.Wide(), nativeText.Wide(), style,
                                 area.left, area.top, width, height, parent, menu, program,
                                 nullptr);
    }
    return ::CreateWindowExA(extendedStyle, nativeClass.Ansi(), nativeText.Ansi(), style, area.left,
                             area.top, width, height, parent, menu, program, nullptr);
}

void RegisterWindowClass(const char* name, WNDPROC procedure, UINT style) {
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    const HCURSOR arrow = ::LoadCursorA(nullptr, IDC_ARROW);
    const auto background = reinterpret_cast<HBRUSH>(static_cast<INT_PTR>(COLOR_BTNFACE + 1));
    // A second registration fails and changes nothing.
    if (HasWideCalls()) {
        const NativeText wideName(FromAscii(name));
        const WNDCLASSW wide = {style,   procedure, 0,          0,       program,
                                nullptr, arrow,     background, nullptr, wideName.Wide()};
        ::RegisterClassW(&wide);
    } else {
        const WNDCLASSA ansi = {style,   procedure, 0,          0,       program,
                                nullptr, arrow,     background, nullptr, name};
        ::RegisterClassA(&ansi);
    }
}

LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return CallEither(::SendMessageW, ::SendMessageA, window, message, wParam, lParam);
}

LRESULT CallDefault(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefaultProcedure()(window, message, wParam, lParam);
}

LRESULT CallOriginal(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return CallEither(::CallWindowProcW, ::CallWindowProcA, procedure, window, message, wParam,
                      lParam);
}

WNDPROC ReplaceProcedure(HWND window, WNDPROC procedure) {
    const auto value = reinterpret_cast<LONG_PTR>(procedure);
    return reinterpret_cast<WNDPROC>(
        CallEither(::SetWindowLongPtrW, ::SetWindowLongPtrA, window, GWLP_WNDPROC, value));
}

WNDPROC DefaultProcedure() {
    return HasWideCalls() ? ::DefWindowProcW : ::DefWindowProcA;
}

void SetOwner(HWND window, HWND owner) {
    const auto value = reinterpret_cast<LONG_PTR>(owner);
    CallEither(::SetWindowLongPtrW, ::SetWindowLongPtrA, window, GWLP_HWNDPARENT, value);
}

void SetTextOf(HWND window, TextView text) {
    Send(window, WM_SETTEXT, 0, NativeText(text).Param());
}

Text TextOf(HWND window) {
    const auto length = static_cast<std::size_t>(Send(window, WM_GETTEXTLENGTH));
    const auto read = [&](auto buffer) {
        buffer.resize(length + 1);
        const LRESULT got =
            Send(window, WM_GETTEXT, buffer.size(), reinterpret_cast<LPARAM>(buffer.data()));
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    };
    return HasWideCalls() ? read(Text()) : FromAnsi(read(std::string()));
}

bool Peek(MSG& message) {
    return CallEither(::PeekMessageW, ::PeekMessageA, &message, HWND{}, 0u, 0u, UINT{PM_REMOVE}) !=
           0;
}

bool Wait(MSG& message) {
    return CallEither(::GetMessageW, ::GetMessageA, &message, HWND{}, 0u, 0u) > 0;
}

void Dispatch(const MSG& message) {
    ::TranslateMessage(&message);
    CallEither(::DispatchMessageW, ::DispatchMessageA, &message);
}

bool IsDialogKey(HWND form, MSG& message) {
    return CallEither(::IsDialogMessageW, ::IsDialogMessageA, form, &message) != 0;
}

void AppendMenuEntry(HMENU menu, UINT flags, UINT_PTR id, TextView caption) {
    const NativeText native(caption);
    if (HasWideCalls()) {
        ::AppendMenuW(menu, flags, id, native.Wide());
    } else {
        ::AppendMenuA(menu, flags, id, native.Ansi());
    }
}

SIZE Measure(HDC device, TextView text) {
    RECT area = {};
    DrawTextIn(device, text, area, DT_CALCRECT | DT_NOPREFIX | DT_LEFT);
    return {area.right, area.bottom};
}

void DrawTextIn(HDC device, TextView text, RECT& area, UINT format) {
    const NativeText native(text);
    if (HasWideCalls()) {
        ::DrawTextW(device, native.Wide(), -1, &area, format);
    } else {
        ::DrawTextA(device, native.Ansi(), -1, &area, format);
    }
}

bool IsHighContrast() {
    HIGHCONTRASTA contrast = {};
    contrast.cbSize = sizeof contrast;
    return ::SystemParametersInfoA(SPI_GETHIGHCONTRAST, sizeof contrast, &contrast, 0) &&
           (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

}  // namespace bkfd::native
