#include "windows/MirroredWindow.h"

#include <cstdio>
#include <utility>

namespace bkfd {
namespace {

int failures = 0;
int checks = 0;

std::string Joined(const EventLog& log) {
    std::string joined;
    for (const std::string& event : log) joined += (joined.empty() ? "" : "; ") + event;
    return joined;
}

}  // namespace

int Checks() {
    return checks;
}

int Failures() {
    return failures;
}

void Expect(const std::string& what, const std::string& actual, const std::string& expected) {
    ++checks;
    if (actual == expected) return;
    ++failures;
    std::printf("FAILED %s: \"%s\" instead of \"%s\"\n", what.c_str(), actual.c_str(),
                expected.c_str());
}

void Expect(const std::string& what, long long actual, long long expected) {
    Expect(what, std::to_string(actual), std::to_string(expected));
}

std::string MirroredWindow::Taken() {
    return Joined(std::exchange(log, {}));
}

HWND MirroredWindow::Of(const Control& control) {
    return reinterpret_cast<HWND>(toolkit.NativeHandle(control));
}

std::string MirroredWindow::TextOf(HWND window) {
    char buffer[4000] = {};
    ::SendMessageA(window, WM_GETTEXT, sizeof buffer, reinterpret_cast<LPARAM>(buffer));
    return buffer;
}

std::string MirroredWindow::Cell(const ListView& view, int row, int column) {
    char buffer[300] = {};
    LVITEMA item = {};
    item.iSubItem = column;
    item.pszText = buffer;
    item.cchTextMax = sizeof buffer;
    ::SendMessageA(Of(view), LVM_GETITEMTEXTA, static_cast<WPARAM>(row),
                   reinterpret_cast<LPARAM>(&item));
    return buffer;
}

long long MirroredWindow::Ask(const Control& control, UINT message, WPARAM wParam, LPARAM lParam) {
    return ::SendMessageA(Of(control), message, wParam, lParam);
}

void MirroredWindow::Post(const Control& control, UINT message, WPARAM wParam, LPARAM lParam) {
    ::PostMessageA(Of(control), message, wParam, lParam);
}

void MirroredWindow::Act(const Control& control, UINT message, WPARAM wParam, LPARAM lParam) {
    Post(control, message, wParam, lParam);
    toolkit.PumpMessages();
}

RECT MirroredWindow::Client(const Control& control) {
    RECT client = {};
    ::GetClientRect(Of(control), &client);
    return client;
}

void MirroredWindow::Key(const Control& control, WPARAM key, int shift) {
    BYTE state[256] = {};
    if (shift & Shift::Shift) state[VK_SHIFT] = 0x80;
    if (shift & Shift::Control) state[VK_CONTROL] = 0x80;
    if (shift & Shift::Alt) state[VK_MENU] = 0x80;
    ::SetKeyboardState(state);
    const bool alt = (shift & Shift::Alt) != 0;
    Post(control, alt ? WM_SYSKEYDOWN : WM_KEYDOWN, key, alt ? 0x20000001 : 1);
    Act(control, alt ? WM_SYSKEYUP : WM_KEYUP, key, alt ? 0xE0000001 : 0xC0000001);
    BYTE released[256] = {};
    ::SetKeyboardState(released);
}

void MirroredWindow::ClickAt(const Control& control, UINT down, UINT up, int x, int y) {
    POINT place = {x, y};
    ::ClientToScreen(Of(control), &place);
    ::SetCursorPos(place.x, place.y);
    Post(control, down, down == WM_LBUTTONDOWN ? MK_LBUTTON : MK_RBUTTON, MAKELPARAM(x, y));
    Act(control, up, 0, MAKELPARAM(x, y));
}

}  // namespace bkfd
