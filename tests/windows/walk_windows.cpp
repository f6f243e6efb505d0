// walk_windows SECONDS: acts on the windows of another program, as told by lines of standard input,
// and answers each with the lines that it has to tell and a last one, ". ok" or ". failed". Each
// command waits until it can be done, at most for that long. All texts are UTF-8; "¶" in
// arguments and answers is a line end.
//
//   splash             waits for the window without a title bar
//   click-splash       clicks it
//   no-splash          waits until it has gone
//   window TITLE       waits for the window that takes input; what follows acts on it
//   other TITLE        the same for another window than the one before
//   gone TITLE         waits until no such window is there
//   box                waits for a message box and prints its text
//   ok, cancel         prints a box's text, presses the button, waits until it has gone
//   content            prints what the window shows: "tab N" and then the lines of "label",
//                      "button", "edit", "row" (of a list view) and "line" (of a list box)
//   shows LINE         waits until the content has that line, else prints the content
//   press CAPTION      presses a button
//   row N              goes to a row of the list by keys
//   tab N              chooses a tab
//   type TEXT          replaces the text of the box that can be edited
//   close              asks the window to close
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

namespace {

constexpr wchar_t kLineEnd = L'\u00B6';

DWORD limit = 0;  // of each command, in milliseconds

std::wstring Without(std::wstring text, wchar_t dropped) {
    text.erase(std::remove(text.begin(), text.end(), dropped), text.end());
    return text;
}

using Lines = std::vector<std::wstring>;

void Tell(const std::wstring& line) {
    std::cout << ToUtf8(line) << '\n';
}

/// Asks until it is so or the time is over.
bool Await(const std::function<bool()>& isSo) {
    const DWORD start = ::GetTickCount();
    while (!isSo()) {
        if (::GetTickCount() - start > limit) return false;
        ::Sleep(10);
    }
    return true;
}

// ---------------------------------------------------------------- windows

// By message: of another program's control GetWindowText tells nothing.
std::wstring TextOf(HWND window) {
    const LRESULT length = ::SendMessageW(window, WM_GETTEXTLENGTH, 0, 0);
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    const LRESULT got =
        ::SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(got));
    return text;
}

std::wstring ClassOf(HWND window) {
    wchar_t name[64] = {};
    ::GetClassNameW(window, name, 63);
    return name;
}

bool HasStyle(HWND window, LONG_PTR style) {
    return (::GetWindowLongPtrW(window, GWL_STYLE) & style) == style;
}

bool IsBox(HWND window) {
    return ClassOf(window) == L"#32770";
}

bool IsForm(HWND window) {
    return ClassOf(window) == L"BrackenfoldForm";
}

using Windows = std::vector<HWND>;

BOOL CALLBACK Gather(HWND window, LPARAM list) {
    if (::IsWindowVisible(window) != 0) reinterpret_cast<Windows*>(list)->push_back(window);
    return TRUE;
}

HWND FindTop(const std::function<bool(HWND)>& isWanted) {
    Windows all;
    ::EnumWindows(Gather, reinterpret_cast<LPARAM>(&all));
    const auto found = std::find_if(all.begin(), all.end(), isWanted);
    return found == all.end() ? nullptr : *found;
}

HWND FindSplash() {
    return FindTop([](HWND window) { return IsForm(window) && !HasStyle(window, WS_CAPTION); });
}

HWND FindForm(const std::wstring& title) {
    return FindTop([&](HWND window) {
        return IsForm(window) && HasStyle(window, WS_CAPTION) && TextOf(window) == title;
    });
}

HWND target = nullptr;

Windows Children() {
    Windows all;
    ::EnumChildWindows(target, Gather, reinterpret_cast<LPARAM>(&all));
    return all;
}

HWND FindChild(const std::function<bool(HWND)>& isWanted) {
    const Windows all = Children();
    const auto found = std::find_if(all.begin(), all.end(), isWanted);
    return found == all.end() ? nullptr : *found;
}

HWND ChildOfClass(const std::wstring& name) {
    return FindChild([&](HWND child) { return ClassOf(child) == name; });
}

// ---------------------------------------------------------------- lists

/// Memory of the program that a window belongs to: where its lists want the texts.
class RemoteMemory {
  public:
    RemoteMemory(HWND window, std::size_t size) {
        DWORD id = 0;
        ::GetWindowThreadProcessId(window, &id);
        process_ =
            ::OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE, id);
        memory_ = ::VirtualAllocEx(process_, nullptr, size, MEM_COMMIT, PAGE_READWRITE);
    }
    RemoteMemory(const RemoteMemory&) = delete;
    RemoteMemory& operator=(const RemoteMemory&) = delete;
    ~RemoteMemory() {
        ::VirtualFreeEx(process_, memory_, 0, MEM_RELEASE);
        ::CloseHandle(process_);
    }
    char* At(std::size_t place) const { return static_cast<char*>(memory_) + place; }
    void Write(const void* data, std::size_t size) const {
        ::WriteProcessMemory(process_, memory_, data, size, nullptr);
    }
    void Read(std::size_t place, void* data, std::size_t size) const {
        ::ReadProcessMemory(process_, At(place), data, size, nullptr);
    }

  private:
    HANDLE process_ = nullptr;
    void* memory_ = nullptr;
};

std::wstring CellOf(HWND list, int row, int column) {
    constexpr int kLongest = 40'000;
    const RemoteMemory memory(list, sizeof(LVITEMW) + kLongest * sizeof(wchar_t));
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = reinterpret_cast<wchar_t*>(memory.At(sizeof(LVITEMW)));
    item.cchTextMax = kLongest;
    memory.Write(&item, sizeof item);
    const LRESULT length = ::SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                                          reinterpret_cast<LPARAM>(memory.At(0)));
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    memory.Read(sizeof(LVITEMW), text.data(), text.size() * sizeof(wchar_t));
    return text;
}

void AddRows(HWND list, Lines& lines) {
    const LRESULT rows = ::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0);
    const auto header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
    const LRESULT columns = ::SendMessageW(header, HDM_GETITEMCOUNT, 0, 0);
    const LRESULT selected =
        ::SendMessageW(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED);
    for (int row = 0; row < rows; ++row) {
        std::wstring line = row == selected ? L"row>" : L"row";
        for (int column = 0; column < columns; ++column) {
            line += (column == 0 ? L" " : L" | ") + CellOf(list, row, column);
        }
        lines.push_back(line);
    }
}

void AddLines(HWND list, Lines& lines) {
    const LRESULT rows = ::SendMessageW(list, LB_GETCOUNT, 0, 0);
    const LRESULT selected = ::SendMessageW(list, LB_GETCURSEL, 0, 0);
    for (LRESULT row = 0; row < rows; ++row) {
        const auto place = static_cast<WPARAM>(row);
        std::wstring line(static_cast<std::size_t>(::SendMessageW(list, LB_GETTEXTLEN, place, 0)),
                          L'\0');
        ::SendMessageW(list, LB_GETTEXT, place, reinterpret_cast<LPARAM>(line.data()));
        lines.push_back((row == selected ? L"line> " : L"line ") + line);
    }
}

void AddText(const wchar_t* kind, HWND child, Lines& lines) {
    std::wstring text = Without(TextOf(child), L'\r');
    if (kind == std::wstring(L"button")) text = Without(text, L'&');
    std::replace(text.begin(), text.end(), L'\n', kLineEnd);
    lines.push_back(std::wstring(kind) + L" " + text);
}

/// As the first line, wherever the strip stands.
void AddTab(HWND strip, Lines& lines) {
    const LRESULT tab = ::SendMessageW(strip, TCM_GETCURSEL, 0, 0);
    lines.insert(lines.begin(), L"tab " + std::to_wstring(tab + 1));
}

Lines Content() {
    Lines lines;
    for (const HWND child : Children()) {
        const std::wstring name = ClassOf(child);
        if (name == L"SysListView32") AddRows(child, lines);
        if (name == L"ListBox") AddLines(child, lines);
        if (name == L"Button") AddText(L"button", child, lines);
        if (name == L"Edit") AddText(L"edit", child, lines);
        if (name == L"Static" && TextOf(child) != L"") AddText(L"label", child, lines);
        if (name == L"SysTabControl32") AddTab(child, lines);
    }
    return lines;
}

void Tell(const Lines& lines) {
    for (const std::wstring& line : lines) Tell(line);
}

// ---------------------------------------------------------------- commands

using Argument = const std::wstring&;

bool AwaitSplash(Argument) {
    return Await([] { return FindSplash() != nullptr; });
}

bool ClickSplash(Argument) {
    const HWND picture = ::GetWindow(FindSplash(), GW_CHILD);
    ::PostMessageW(picture, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    return ::PostMessageW(picture, WM_LBUTTONUP, 0, MAKELPARAM(5, 5)) != 0;
}

bool AwaitNoSplash(Argument) {
    return Await([] { return FindSplash() == nullptr; });
}

bool TargetHasKeys() {
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    const DWORD thread = ::GetWindowThreadProcessId(target, nullptr);
    return ::GetGUIThreadInfo(thread, &info) != 0 && info.hwndActive == target &&
           ::GetForegroundWindow() == target;
}

bool AwaitTarget(Argument title, HWND butNot) {
    const auto isThere = [&] {
        target = FindTop([&](HWND window) {
            return window != butNot && IsForm(window) && TextOf(window) == title;
        });
        return target != nullptr && HasStyle(target, WS_CAPTION) && ::IsWindowEnabled(target) != 0;
    };
    return Await(isThere) && ::SetForegroundWindow(target) != 0 && Await(TargetHasKeys);
}

bool AwaitWindow(Argument title) {
    return AwaitTarget(title, nullptr);
}

bool AwaitOther(Argument title) {
    return AwaitTarget(title, target);
}

bool AwaitGone(Argument title) {
    return Await([&] { return FindForm(title) == nullptr; });
}

HWND AwaitBox() {
    HWND box = nullptr;
    const auto isThere = [&] {
        box = FindTop(IsBox);
        return box != nullptr && ::GetDlgItem(box, IDOK) != nullptr;
    };
    return Await(isThere) ? box : nullptr;
}

bool TellBox(Argument) {
    const HWND box = AwaitBox();
    if (box == nullptr) return false;
    const HWND label =
        ::FindWindowExW(box, ::FindWindowExW(box, nullptr, L"Static", nullptr), L"Static", nullptr);
    Tell(TextOf(label != nullptr ? label : ::FindWindowExW(box, nullptr, L"Static", nullptr)));
    return true;
}

bool PressInBox(int button) {
    if (!TellBox({})) return false;
    const HWND box = AwaitBox();
    const HWND pressed = ::GetDlgItem(box, button);
    if (pressed == nullptr) return false;
    ::PostMessageW(pressed, BM_CLICK, 0, 0);
    return Await([&] { return ::IsWindow(box) == 0; });
}

bool PressOk(Argument) {
    return PressInBox(IDOK);
}

bool PressCancel(Argument) {
    return PressInBox(IDCANCEL);
}

bool Shows(Argument line) {
    const auto isShown = [&] {
        const Lines lines = Content();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    if (Await(isShown)) return true;
    Tell(Content());
    return false;
}

bool TellContent(Argument) {
    Tell(Content());
    return true;
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

bool TypeText(Argument text) {
    const HWND box = FindChild(
        [](HWND child) { return ClassOf(child) == L"Edit" && !HasStyle(child, ES_READONLY); });
    if (box == nullptr) return false;
    std::wstring typed;
    for (const wchar_t unit : text) typed += unit == kLineEnd ? L"\r\n" : std::wstring(1, unit);
    ::SendMessageW(box, EM_SETSEL, 0, -1);
    ::SendMessageW(box, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(typed.c_str()));
    return true;
}

/// The shell's window of a folder.
bool CloseFolder(Argument name) {
    const auto find = [&] {
        return FindTop([&](HWND window) {
            return !IsForm(window) && HasStyle(window, WS_CAPTION) && TextOf(window) == name;
        });
    };
    if (!Await([&] { return find() != nullptr; })) return false;
    const HWND folder = find();
    ::PostMessageW(folder, WM_CLOSE, 0, 0);
    return Await([&] { return ::IsWindow(folder) == 0; });
}

bool Close(Argument) {
    return ::PostMessageW(target, WM_CLOSE, 0, 0) != 0;
}

bool FillClipboard(Argument text) {
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
};
constexpr Command kCommands[] = {
    {L"splash", AwaitSplash},
    {L"click-splash", ClickSplash},
    {L"no-splash", AwaitNoSplash},
    {L"window", AwaitWindow},
    {L"other", AwaitOther},
    {L"gone", AwaitGone},
    {L"box", TellBox},
    {L"ok", PressOk},
    {L"cancel", PressCancel},
    {L"shows", Shows},
    {L"content", TellContent},

    {L"press", PressButton},
    {L"row", GoToRow},
    {L"tab", ChooseTab},
    {L"type", TypeText},
    {L"close", Close},
    {L"close-folder", CloseFolder},
    {L"clipboard", FillClipboard},
};

bool Run(const std::wstring& line) {
    const std::size_t end = std::min(line.find(L' '), line.size());
    const std::wstring argument = line.substr(std::min(end + 1, line.size()));
    for (const Command& command : kCommands) {
        if (line.substr(0, end) == command.name) return command.run(argument);
    }
    Tell(L"no such command");
    return false;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    limit = static_cast<DWORD>(std::atoi(arguments[1])) * 1000;
    ::_setmode(_fileno(stdin), _O_BINARY);
    ::_setmode(_fileno(stdout), _O_BINARY);
    std::string line;
    while (std::getline(std::cin, line) && line != "quit") {
        const bool isDone = Run(FromUtf8(line));
        std::cout << (isDone ? ". ok" : ". failed") << std::endl;
    }
    return 0;
}
