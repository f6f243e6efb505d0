#include "ui/win32/NativeCalls.h"

#include <algorithm>

namespace bkfd::native {
namespace {

std::string ToCodePage(TextView text) {
    const auto* source = reinterpret_cast<const wchar_t*>(text.data());
    const auto length = static_cast<int>(text.size());
    if (length == 0) return {};
    const int size = ::WideCharToMultiByte(CP_ACP, 0, source, length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, source, length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

Text FromCodePage(const std::string& bytes) {
    const auto length = static_cast<int>(bytes.size());
    if (length == 0) return {};
    const int size = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, nullptr, 0);
    Text text(static_cast<std::size_t>(size), u'\0');
    ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, reinterpret_cast<wchar_t*>(text.data()),
                          size);
    return text;
}

HICON LoadIconOfSize(const NativeText& name, int width, int height) {
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    const HANDLE icon = IsWide()
                            ? ::LoadImageW(program, name.Field(), IMAGE_ICON, width, height, 0)
                            : ::LoadImageA(program, reinterpret_cast<const char*>(name.Param()),
                                           IMAGE_ICON, width, height, 0);
    return static_cast<HICON>(icon);
}

const BITMAPINFO* FindBitmap(TextView name) {
    const HMODULE program = ::GetModuleHandleA(nullptr);
    const HRSRC place = ::FindResourceA(program, ToUtf8(name).c_str(), RT_BITMAP);
    const HGLOBAL data = place ? ::LoadResource(program, place) : nullptr;
    return static_cast<const BITMAPINFO*>(data ? ::LockResource(data) : nullptr);
}

// Locked memory of the clipboard.
class Locked {
  public:
    explicit Locked(HANDLE memory)
        : memory_(memory), data_(memory ? ::GlobalLock(memory) : nullptr) {}
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() {
        if (data_) ::GlobalUnlock(memory_);
    }
    void* Data() const { return data_; }
    /// Up to the first NUL, or all of it where there is none.
    template <class Unit>
    std::basic_string<Unit> String() const {
        if (!data_) return {};
        const auto* first = static_cast<const Unit*>(data_);
        const auto* last = first + ::GlobalSize(memory_) / sizeof(Unit);
        return {first, std::find(first, last, Unit())};
    }

  private:
    HANDLE memory_;
    void* data_;
};

}  // namespace

bool IsWide() {
    static const bool isNt = (::GetVersion() & 0x80000000u) == 0;
    return isNt;
}

NativeText::NativeText(TextView text) : wide_(text) {
    std::replace(wide_.begin(), wide_.end(), u'\0', u'\xFFFD');
    if (!IsWide()) ansi_ = ToCodePage(wide_);
}

LPARAM NativeText::Param() const {
    return IsWide() ? reinterpret_cast<LPARAM>(wide_.c_str())
                    : reinterpret_cast<LPARAM>(ansi_.c_str());
}

HWND Create(DWORD extendedStyle, TextView className, TextView text, DWORD style, const RECT& area,
            HWND parent, HMENU menu) {
    const NativeText nativeClass(className);
    const NativeText nativeText(text);
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    if (IsWide()) {
        return ::CreateWindowExW(extendedStyle, nativeClass.Field(), nativeText.Field(), style,
                                 area.left, area.top, width, height, parent, menu, program,
                                 nullptr);
    }
    return ::CreateWindowExA(extendedStyle, reinterpret_cast<const char*>(nativeClass.Param()),
                             reinterpret_cast<const char*>(nativeText.Param()), style, area.left,
                             area.top, width, height, parent, menu, program, nullptr);
}

void RegisterWindowClass(const char* name, WNDPROC procedure, UINT style) {
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    const HCURSOR arrow = ::LoadCursorA(nullptr, IDC_ARROW);
    const auto background = reinterpret_cast<HBRUSH>(static_cast<INT_PTR>(COLOR_BTNFACE + 1));
    // A second registration fails and changes nothing.
    if (IsWide()) {
        const NativeText wideName(FromAscii(name));
        const WNDCLASSW wide = {style,   procedure, 0,          0,       program,
                                nullptr, arrow,     background, nullptr, wideName.Field()};
        ::RegisterClassW(&wide);
    } else {
        const WNDCLASSA ansi = {style,   procedure, 0,          0,       program,
                                nullptr, arrow,     background, nullptr, name};
        ::RegisterClassA(&ansi);
    }
}

LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return IsWide() ? ::SendMessageW(window, message, wParam, lParam)
                    : ::SendMessageA(window, message, wParam, lParam);
}

LRESULT CallDefault(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return IsWide() ? ::DefWindowProcW(window, message, wParam, lParam)
                    : ::DefWindowProcA(window, message, wParam, lParam);
}

LRESULT CallOriginal(WNDPROC procedure, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return IsWide() ? ::CallWindowProcW(procedure, window, message, wParam, lParam)
                    : ::CallWindowProcA(procedure, window, message, wParam, lParam);
}

WNDPROC ReplaceProcedure(HWND window, WNDPROC procedure) {
    const auto value = reinterpret_cast<LONG_PTR>(procedure);
    return reinterpret_cast<WNDPROC>(IsWide() ? ::SetWindowLongPtrW(window, GWLP_WNDPROC, value)
                                              : ::SetWindowLongPtrA(window, GWLP_WNDPROC, value));
}

void SetTextOf(HWND window, TextView text) {
    Send(window, WM_SETTEXT, 0, NativeText(text).Param());
}

Text TextOf(HWND window) {
    const auto length = static_cast<std::size_t>(Send(window, WM_GETTEXTLENGTH));
    if (IsWide()) {
        Text text(length + 1, u'\0');
        const LRESULT got =
            Send(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
        text.resize(static_cast<std::size_t>(got));
        return text;
    }
    std::string bytes(length + 1, '\0');
    const LRESULT got =
        Send(window, WM_GETTEXT, bytes.size(), reinterpret_cast<LPARAM>(bytes.data()));
    bytes.resize(static_cast<std::size_t>(got));
    return FromCodePage(bytes);
}

bool Peek(MSG& message) {
    return (IsWide() ? ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)
                     : ::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) != 0;
}

bool Wait(MSG& message) {
    return (IsWide() ? ::GetMessageW(&message, nullptr, 0, 0)
                     : ::GetMessageA(&message, nullptr, 0, 0)) > 0;
}

void Dispatch(const MSG& message) {
    ::TranslateMessage(&message);
    if (IsWide()) {
        ::DispatchMessageW(&message);
    } else {
        ::DispatchMessageA(&message);
    }
}

bool IsDialogKey(HWND form, MSG& message) {
    return (IsWide() ? ::IsDialogMessageW(form, &message) : ::IsDialogMessageA(form, &message)) !=
           0;
}

void AppendMenuEntry(HMENU menu, UINT flags, UINT_PTR id, TextView caption) {
    const NativeText native(caption);
    if (IsWide()) {
        ::AppendMenuW(menu, flags, id, native.Field());
    } else {
        ::AppendMenuA(menu, flags, id, reinterpret_cast<const char*>(native.Param()));
    }
}

SIZE Measure(HDC device, TextView text) {
    const NativeText native(text);
    RECT area = {};
    constexpr UINT kFlags = DT_CALCRECT | DT_NOPREFIX | DT_LEFT;
    if (IsWide()) {
        ::DrawTextW(device, native.Field(), -1, &area, kFlags);
    } else {
        ::DrawTextA(device, reinterpret_cast<const char*>(native.Param()), -1, &area, kFlags);
    }
    return {area.right, area.bottom};
}

HICON LoadIconResource(TextView name, int width, int height) {
    if (name.empty()) return nullptr;
    const NativeText native(name);
    HICON icon = LoadIconOfSize(native, width, height);
    // Systems before Windows Vista can't read the large icons, which are compressed.
    for (const int side : {48, 32, 16}) {
        if (!icon && side < width) icon = LoadIconOfSize(native, side, side);
    }
    return icon;
}

HBITMAP LoadBitmapResource(TextView name, int width) {
    const BITMAPINFO* bitmap = FindBitmap(name);
    if (bitmap && bitmap->bmiHeader.biWidth < width) {
        const BITMAPINFO* large = FindBitmap(Text(name) + u"_LARGE");
        if (large) bitmap = large;
    }
    if (!bitmap) return nullptr;
    const BITMAPINFOHEADER& header = bitmap->bmiHeader;
    const DWORD usual = header.biBitCount <= 8 ? 1u << header.biBitCount : 0u;
    const DWORD colours = header.biClrUsed != 0 ? header.biClrUsed : usual;
    const HDC screen = ::GetDC(nullptr);
    const HBITMAP made = ::CreateDIBitmap(screen, &header, CBM_INIT, bitmap->bmiColors + colours,
                                          bitmap, DIB_RGB_COLORS);
    ::ReleaseDC(nullptr, screen);
    return made;
}

Text ReadClipboard() {
    if (!::OpenClipboard(nullptr)) return {};
    Text text;
    if (::IsClipboardFormatAvailable(CF_UNICODETEXT)) {
        text = Locked(::GetClipboardData(CF_UNICODETEXT)).String<char16_t>();
    } else if (::IsClipboardFormatAvailable(CF_TEXT)) {
        text = FromCodePage(Locked(::GetClipboardData(CF_TEXT)).String<char>());
    }
    ::CloseClipboard();
    return text;
}

void WriteClipboard(TextView text) {
    const NativeText native(text);
    const std::size_t size = native.Size();
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, size);
    if (!memory) return;
    {
        const Locked locked(memory);
        const auto* source = reinterpret_cast<const char*>(native.Param());
        std::copy_n(source, size, static_cast<char*>(locked.Data()));
    }
    if (!::OpenClipboard(nullptr)) {
        ::GlobalFree(memory);
        return;
    }
    ::EmptyClipboard();
    // From here on the memory is the system's, unless it refuses it.
    if (!::SetClipboardData(IsWide() ? CF_UNICODETEXT : CF_TEXT, memory)) ::GlobalFree(memory);
    ::CloseClipboard();
}

bool IsHighContrast() {
    HIGHCONTRASTA contrast = {};
    contrast.cbSize = sizeof contrast;
    return ::SystemParametersInfoA(SPI_GETHIGHCONTRAST, sizeof contrast, &contrast, 0) &&
           (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

}  // namespace bkfd::native
