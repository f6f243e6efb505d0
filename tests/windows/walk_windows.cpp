// walk_windows SECONDS [COMMAND...]: acts on the windows of the program. Each command waits until
// it can be done, at most for that long. Without commands they are lines of standard input, each
// answered with ". ok" or ". failed". With commands the splash window is clicked away, and the
// first that fails ends this program with 1. What a failed one found instead is printed before. All
// texts are UTF-8; "¶" is a line end.
//
//   splash             waits for the window without a title bar
//   click-splash       waits for it and clicks it
//   no-splash          waits until it has gone
//   window TITLE       waits for that window; what follows acts on it while it is there, and on the
//                      main window else
//   other TITLE        the same for another window than the one before
//   gone TITLE         waits until no such window is there
//   ready              waits until the window takes keys
//   box [TEXT]         waits for a message box, which must have that text or, behind "...",
//                      that end of it; prints the text if none is named
//   ok [TEXT]          the same, then presses the button and waits until the box has gone
//   cancel [TEXT]      the same with the other button
//   shows LINE         waits until the window shows it, in the form of `ContentOf`
//   rows N             waits until it shows that many rows
//   press CAPTION      presses a button
//   row N              goes to a row of the list by keys
//   tab N              chooses a tab
//   type TEXT          replaces the text of the box that can be edited
//   close              closes the window
//   try-close          asks it to close, also while it takes no input
//   close-folder NAME  waits for the shell's window of a folder and closes it
//   clipboard TEXT     puts a text on the clipboard; without TEXT, something that is no text
//   quit               ends this program
#include <windows.h>
// Behind windows.h.
#include <commctrl.h>
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "Utf8.h"
#include "WindowContent.h"

namespace {

DWORD limit = 0;  // of each command, in milliseconds
bool clicksSplash = false;

void Tell(const std::wstring& line) {
    std::cout << ToUtf8(line) << std::endl;  // a restart may end this program too
}

// ---------------------------------------------------------------- windows

bool IsBox(HWND window) {
    return ClassOf(window) == L"#32770";
}

bool IsForm(HWND window) {
    return ClassOf(window) == L"BrackenfoldForm";
}

HWND FindTop(const std::function<bool(HWND)>& isWanted) {
    const Windows all = VisibleWindows(nullptr);
    const auto found = std::find_if(all.begin(), all.end(), isWanted);
    return found == all.end() ? nullptr : *found;
}

HWND FindSplash() {
    return FindTop([](HWND window) { return IsForm(window) && !HasStyle(window, WS_CAPTION); });
}

HWND FindForm(const std::wstring& title, HWND butNot = nullptr) {
    return FindTop([&](HWND window) {
        return window != butNot && IsForm(window) && HasStyle(window, WS_CAPTION) &&
               TextOf(window) == title;
    });
}

void PostClick(HWND splash) {
    const HWND picture = ::GetWindow(splash, GW_CHILD);
    if (picture == nullptr) return;
    ::PostMessageW(picture, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    ::PostMessageW(picture, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
}

/// Asks until it is so or the time is over.
bool Await(const std::function<bool()>& isSo) {
    const DWORD start = ::GetTickCount();
    while (!isSo()) {
        if (::GetTickCount() - start > limit) return false;
        if (clicksSplash) PostClick(FindSplash());
        ::Sleep(10);
    }
    return true;
}

HWND target = nullptr;

HWND FindChild(const std::function<bool(HWND)>& isWanted) {
    const Windows all = VisibleWindows(target);
    const auto found = std::find_if(all.begin(), all.end(), isWanted);
    return found == all.end() ? nullptr : *found;
}

HWND ChildOfClass(const std::wstring& name) {
    return FindChild([&](HWND child) { return ClassOf(child) == name; });
}

// ---------------------------------------------------------------- commands

using Argument = const std::wstring&;

bool AwaitSplash(Argument) {
    return Await([] { return FindSplash() != nullptr; });
}

bool ClickSplash(Argument) {
    if (!AwaitSplash({})) return false;
    PostClick(FindSplash());
    return true;
}

bool AwaitNoSplash(Argument) {
    return Await([] { return FindSplash() == nullptr; });
}

bool AwaitOther(Argument title, HWND butNot) {
    return Await([&] {
        const HWND found = FindForm(title, butNot);
        if (found != nullptr) target = found;
        return found != nullptr && ::IsWindowEnabled(found) != 0;
    });
}

bool AwaitWindow(Argument title) {
    return AwaitOther(title, nullptr);
}

bool AwaitOther(Argument title) {
    return AwaitOther(title, target);
}

/// The window that the commands act on takes input.
bool AwaitTarget() {
    return ::IsWindowVisible(target) == 0 ? AwaitWindow(L"Brackenfold")
                                          : Await([] { return ::IsWindowEnabled(target) != 0; });
}

bool AwaitKeys(Argument) {
    return ::SetForegroundWindow(target) != 0 && Await([] {
               GUITHREADINFO info = {};
               info.cbSize = sizeof info;
               const DWORD thread = ::GetWindowThreadProcessId(target, nullptr);
               return ::GetGUIThreadInfo(thread, &info) != 0 && info.hwndActive == target &&
                      ::GetForegroundWindow() == target;
           });
}

bool AwaitGone(Argument title) {
    return Await([&] { return FindForm(title) == nullptr; });
}

bool IsText(const std::wstring& text, Argument wanted) {
    if (wanted.substr(0, 3) != L"...") return text == wanted;
    const std::size_t length = std::min(wanted.size() - 3, text.size());
    return text.substr(text.size() - length) == wanted.substr(3);
}

/// A box with that text; null, and what it says instead is told, when it isn't there.
HWND AwaitBox(Argument wanted) {
    HWND box = nullptr;
    const auto isThere = [&] {
        box = FindTop(IsBox);
        return box != nullptr && ::GetDlgItem(box, IDOK) != nullptr;
    };
    if (!Await(isThere)) return nullptr;
    const HWND first = ::FindWindowExW(box, nullptr, L"Static", nullptr);  // the icon or the text
    const HWND second = ::FindWindowExW(box, first, L"Static", nullptr);
    const std::wstring text = TextOf(second != nullptr ? second : first);
    const bool isWanted = wanted.empty() || IsText(text, wanted);
    if (wanted.empty() || !isWanted) Tell(text);
    return isWanted ? box : nullptr;
}

bool CheckBox(Argument text) {
    return AwaitBox(text) != nullptr;
}

bool PressInBox(Argument text, int button) {
    const HWND box = AwaitBox(text);
    const HWND pressed = ::GetDlgItem(box, button);
    if (pressed == nullptr) return false;
    ::PostMessageW(pressed, BM_CLICK, 0, 0);
    return Await([&] { return ::IsWindow(box) == 0; });
}

bool PressOk(Argument text) {
    return PressInBox(text, IDOK);
}

bool PressCancel(Argument text) {
    return PressInBox(text, IDCANCEL);
}

bool AwaitContent(const std::function<bool(const Lines&)>& isWanted) {
    if (Await([&] { return isWanted(ContentOf(target)); })) return true;
    for (const std::wstring& line : ContentOf(target)) Tell(line);
    return false;
}

bool Shows(Argument line) {
    return AwaitContent([&](const Lines& lines) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    });
}

bool ShowsRows(Argument number) {
    return AwaitContent([&](const Lines& lines) {
        return std::stoi(number) == std::count_if(lines.begin(), lines.end(), [](Argument line) {
                   return line.substr(0, 3) == L"row";
               });
    });
}

bool PressButton(Argument caption) {
    const HWND button = FindChild([&](HWND child) {
        return ClassOf(child) == L"Button" && Without(TextOf(child), L'&') == caption;
    });
    return button != nullptr && ::PostMessageW(button, BM_CLICK, 0, 0) != 0;
}

void PressKey(HWND window, WPARAM key) {
    ::PostMessageW(window, WM_KEYDOWN, key, 1);
    ::PostMessageW(window, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
}

bool GoToRow(Argument number) {
    const HWND view = ChildOfClass(L"SysListView32");
    const HWND list = view != nullptr ? view : ChildOfClass(L"ListBox");
    if (list == nullptr) return false;
    PressKey(list, VK_HOME);
    for (int row = std::stoi(number); row > 1; --row) PressKey(list, VK_DOWN);
    return true;
}

bool ChooseTab(Argument number) {
    const HWND strip = ChildOfClass(L"SysTabControl32");
    if (strip == nullptr) return false;
    ::SendMessageW(strip, TCM_SETCURFOCUS, static_cast<WPARAM>(std::stoi(number) - 1), 0);
    return true;
}

std::wstring WithLineEnds(Argument text) {
    std::wstring lines;
    for (const wchar_t unit : text) lines += unit == kLineEnd ? L"\r\n" : std::wstring(1, unit);
    return lines;
}

bool TypeText(Argument text) {
    const HWND box = FindChild(
        [](HWND child) { return ClassOf(child) == L"Edit" && !HasStyle(child, ES_READONLY); });
    if (box == nullptr) return false;
    const std::wstring typed = WithLineEnds(text);
    ::SendMessageW(box, EM_SETSEL, 0, -1);
    ::SendMessageW(box, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(typed.c_str()));
    return true;
}

bool TryClose(Argument) {
    return ::PostMessageW(target, WM_CLOSE, 0, 0) != 0;
}

bool Close(Argument) {
    const HWND window = target;
    return TryClose({}) && Await([&] { return ::IsWindow(window) == 0; });
}

/// The shell's window of a folder.
bool CloseFolder(Argument name) {
    HWND folder = nullptr;
    const auto isThere = [&] {
        folder = FindTop([&](HWND window) {
            return !IsForm(window) && HasStyle(window, WS_CAPTION) && TextOf(window) == name;
        });
        return folder != nullptr;
    };
    return Await(isThere) && ::PostMessageW(folder, WM_CLOSE, 0, 0) != 0 &&
           Await([&] { return ::IsWindow(folder) == 0; });
}

bool FillClipboard(Argument line) {
    const std::wstring text = WithLineEnds(line);
    if (!Await([] { return ::OpenClipboard(nullptr) != 0; })) return false;
    ::EmptyClipboard();
    const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, size);
    std::copy_n(text.c_str(), text.size() + 1, static_cast<wchar_t*>(::GlobalLock(memory)));
    ::GlobalUnlock(memory);
    const UINT format = text.empty() ? ::RegisterClipboardFormatA("No Text") : CF_UNICODETEXT;
    const bool isSet = ::SetClipboardData(format, memory) != nullptr;
    ::CloseClipboard();
    return isSet;
}

struct Command {
    const wchar_t* name;
    bool (*run)(Argument);
    bool needsTarget = false;
};
constexpr Command kCommands[] = {
    {L"splash", AwaitSplash},
    {L"click-splash", ClickSplash},
    {L"no-splash", AwaitNoSplash},
    {L"window", AwaitWindow},
    {L"other", AwaitOther},
    {L"gone", AwaitGone},
    {L"ready", AwaitKeys, true},
    {L"box", CheckBox},
    {L"ok", PressOk},
    {L"cancel", PressCancel},
    {L"shows", Shows, true},
    {L"rows", ShowsRows, true},
    {L"press", PressButton, true},
    {L"row", GoToRow, true},
    {L"tab", ChooseTab, true},
    {L"type", TypeText, true},
    {L"close", Close, true},
    {L"try-close", TryClose},
    {L"close-folder", CloseFolder},
    {L"clipboard", FillClipboard},
};

bool Run(const std::string& line) {
    const std::wstring command = FromUtf8(line);
    const std::size_t end = std::min(command.find(L' '), command.size());
    const auto* const known =
        std::find_if(std::begin(kCommands), std::end(kCommands),
                     [&](const Command& each) { return command.substr(0, end) == each.name; });
    return known != std::end(kCommands) && (!known->needsTarget || AwaitTarget()) &&
           known->run(command.substr(std::min(end + 1, command.size())));
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) return 2;
    limit = static_cast<DWORD>(std::atoi(arguments[1])) * 1000;
    ::_setmode(_fileno(stdin), _O_BINARY);
    ::_setmode(_fileno(stdout), _O_BINARY);
    clicksSplash = count > 2;
    if (clicksSplash) return std::all_of(arguments + 2, arguments + count, Run) ? 0 : 1;
    std::string line;
    while (std::getline(std::cin, line) && line != "quit") {
        std::cout << (Run(line) ? ". ok" : ". failed") << std::endl;
    }
    return 0;
}
