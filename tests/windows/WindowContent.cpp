#include "WindowContent.h"

// Behind windows.h.
#include <commctrl.h>

#include <algorithm>

std::wstring Without(std::wstring text, wchar_t dropped) {
    text.erase(std::remove(text.begin(), text.end(), dropped), text.end());
    return text;
}

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

namespace {

BOOL CALLBACK Gather(HWND window, LPARAM list) {
    if (::IsWindowVisible(window) != 0) reinterpret_cast<Windows*>(list)->push_back(window);
    return TRUE;
}

}  // namespace

Windows VisibleWindows(HWND window) {
    Windows all;
    if (window == nullptr) {
        ::EnumWindows(Gather, reinterpret_cast<LPARAM>(&all));
    } else {
        ::EnumChildWindows(window, Gather, reinterpret_cast<LPARAM>(&all));
    }
    return all;
}

// ---------------------------------------------------------------- lists

namespace {

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
    if (kind == std::wstring(L"button")) {
        text = Without(text, L'&') + (::IsWindowEnabled(child) != 0 ? L"" : L" (grey)");
    }
    std::replace(text.begin(), text.end(), L'\n', kLineEnd);
    lines.push_back(std::wstring(kind) + L" " + text);
}

/// As the first line, wherever the strip stands.
void AddTab(HWND strip, Lines& lines) {
    const LRESULT tab = ::SendMessageW(strip, TCM_GETCURSEL, 0, 0);
    lines.insert(lines.begin(), L"tab " + std::to_wstring(tab + 1));
}

}  // namespace

Lines ContentOf(HWND window) {
    Lines lines;
    for (const HWND child : VisibleWindows(window)) {
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
