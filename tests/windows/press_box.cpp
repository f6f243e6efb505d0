// press_box TITLE SECONDS: waits for a message box with that title, prints its texts as UTF-8, a
// line each, and presses OK. Ends with 1 when no such box comes up in time.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void PrintUtf8(const std::wstring& text) {
    char utf8[4096] = {};
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, utf8, sizeof(utf8) - 1, nullptr, nullptr);
    std::puts(utf8);
}

BOOL CALLBACK PrintChild(HWND child, LPARAM) {
    wchar_t text[1024] = {};
    if (::GetWindowTextW(child, text, 1023) > 0) PrintUtf8(text);
    return TRUE;
}

HWND FindBox(const std::wstring& title) {
    const HWND box = ::FindWindowW(L"#32770", title.c_str());
    return box != nullptr && ::IsWindowVisible(box) != 0 ? box : nullptr;
}

std::wstring Widen(const char* text) {
    return {text, text + std::char_traits<char>::length(text)};
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::wstring title = Widen(arguments[1]);
    const DWORD limit = static_cast<DWORD>(std::atoi(arguments[2])) * 1000;
    const DWORD start = ::GetTickCount();
    HWND box = nullptr;
    while ((box = FindBox(title)) == nullptr) {
        if (::GetTickCount() - start > limit) return 1;
        ::Sleep(50);
    }
    ::EnumChildWindows(box, PrintChild, 0);
    ::PostMessageW(box, WM_COMMAND, IDOK, 0);
    while (::IsWindow(box) != 0 && ::GetTickCount() - start <= limit) ::Sleep(50);
    return ::IsWindow(box) != 0 ? 1 : 0;
}
