// drive_window press TITLE SECONDS: waits for a message box with that title, prints its texts as
// UTF-8, a line each, and presses OK.
// drive_window close TITLE SECONDS: waits for another window with that title and closes it.
// Ends with 1 when no such window comes up, or when it doesn't go, in time.
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

struct Search {
    std::wstring title;
    bool wantsBox;
    HWND found;
};

BOOL CALLBACK Look(HWND window, LPARAM argument) {
    auto& search = *reinterpret_cast<Search*>(argument);
    wchar_t text[256] = {};
    ::GetWindowTextW(window, text, 255);
    if (search.title != text || ::IsWindowVisible(window) == 0) return TRUE;
    ::GetClassNameW(window, text, 255);
    if ((std::wstring(text) == L"#32770") != search.wantsBox) return TRUE;
    search.found = window;
    return FALSE;
}

std::wstring Widen(const char* text) {
    return {text, text + std::char_traits<char>::length(text)};
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) return 2;
    Search search = {Widen(arguments[2]), std::string(arguments[1]) == "press", nullptr};
    const DWORD limit = static_cast<DWORD>(std::atoi(arguments[3])) * 1000;
    const DWORD start = ::GetTickCount();
    for (;;) {
        ::EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
        if (search.found != nullptr) break;
        if (::GetTickCount() - start > limit) return 1;
        ::Sleep(50);
    }
    if (search.wantsBox) {
        ::EnumChildWindows(search.found, PrintChild, 0);
        ::PostMessageW(search.found, WM_COMMAND, IDOK, 0);
    } else {
        ::PostMessageW(search.found, WM_CLOSE, 0, 0);
    }
    while (::IsWindow(search.found) != 0 && ::GetTickCount() - start <= limit) ::Sleep(50);
    return ::IsWindow(search.found) != 0 ? 1 : 0;
}
