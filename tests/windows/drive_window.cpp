// drive_window press TITLE SECONDS: waits for a message box with that title, prints its texts as
// UTF-8, a line each, and presses OK.
// drive_window close TITLE SECONDS: waits for another window with that title and closes it.
// drive_window answer TITLE SECONDS STEP...: does as the steps say, one window after the other, and
// prints a line a step: "ok" and "cancel" wait for a message box, print its text and press that
// button of it, "close" waits for another window and closes it. The time is each step's.
// The splash window has no title bar and doesn't count; it is clicked away.
// Ends with 1 when no such window comes up, or when it doesn't go, in time; `answer` also when the
// other kind of window comes up, or a box without the button.
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

void ClickAway(HWND splash) {
    const HWND picture = ::GetWindow(splash, GW_CHILD);
    if (picture == nullptr) return;
    ::PostMessageW(picture, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    ::PostMessageW(picture, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
}

BOOL CALLBACK Look(HWND window, LPARAM argument) {
    auto& search = *reinterpret_cast<Search*>(argument);
    wchar_t text[256] = {};
    ::GetWindowTextW(window, text, 255);
    if (search.title != text || ::IsWindowVisible(window) == 0) return TRUE;
    if ((::GetWindowLongW(window, GWL_STYLE) & WS_CAPTION) != WS_CAPTION) {
        ClickAway(window);
        return TRUE;
    }
    ::GetClassNameW(window, text, 255);
    if ((std::wstring(text) == L"#32770") != search.wantsBox) return TRUE;
    search.found = window;
    return FALSE;
}

std::wstring Widen(const char* text) {
    return {text, text + std::char_traits<char>::length(text)};
}

struct Step {
    const char* name;
    int button;  // 0: not a box
    const wchar_t* printed;
};
constexpr Step kSteps[] = {
    {"ok", IDOK, L" [OK]"}, {"cancel", IDCANCEL, L" [Cancel]"}, {"close", 0, L"[window closed]"}};

const Step* FindStep(const std::string& name) {
    for (const Step& step : kSteps) {
        if (name == step.name) return &step;
    }
    return nullptr;
}

BOOL CALLBACK KeepLongestText(HWND child, LPARAM argument) {
    auto& longest = *reinterpret_cast<std::wstring*>(argument);
    wchar_t text[1024] = {};
    ::GetWindowTextW(child, text, 1023);
    if (longest.size() < std::wstring(text).size()) longest = text;
    return TRUE;
}

HWND FindWindowOf(const std::wstring& title, bool wantsBox) {
    Search search = {title, wantsBox, nullptr};
    ::EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool PressButton(HWND box, const Step& step) {
    std::wstring text;
    ::EnumChildWindows(box, KeepLongestText, reinterpret_cast<LPARAM>(&text));
    const HWND button = ::GetDlgItem(box, step.button);
    if (button == nullptr) {
        PrintUtf8(text + L" [no such button]");
        return false;
    }
    PrintUtf8(text + step.printed);
    ::PostMessageW(button, BM_CLICK, 0, 0);
    return true;
}

/// False, with a line that says why, when the step can't be done.
bool DoStep(const Step& step, const std::wstring& title, DWORD limit) {
    const bool wantsBox = step.button != 0;
    const DWORD start = ::GetTickCount();
    HWND window = nullptr;
    while (window == nullptr) {
        if (FindWindowOf(title, !wantsBox) != nullptr || ::GetTickCount() - start > limit) {
            PrintUtf8(wantsBox ? L"[no box]" : L"[no window]");
            return false;
        }
        ::Sleep(30);
        window = FindWindowOf(title, wantsBox);
    }
    if (wantsBox && !PressButton(window, step)) return false;
    if (!wantsBox) {
        PrintUtf8(step.printed);
        ::PostMessageW(window, WM_CLOSE, 0, 0);
    }
    std::fflush(stdout);  // a restart may end this process too
    while (::IsWindow(window) != 0 && ::GetTickCount() - start <= limit) ::Sleep(10);
    return ::IsWindow(window) == 0;
}

int Answer(int count, char** arguments) {
    for (int i = 4; i < count; ++i) {
        const Step* const step = FindStep(arguments[i]);
        if (step == nullptr) return 2;
        const DWORD limit = static_cast<DWORD>(std::atoi(arguments[3])) * 1000;
        if (!DoStep(*step, Widen(arguments[2]), limit)) return 1;
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 4 && std::string(arguments[1]) == "answer") return Answer(count, arguments);
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
