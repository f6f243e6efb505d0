#include "ui/win32/CellTip.h"

#include <cstddef>

#include "ui/win32/LongText.h"
#include "ui/win32/NativeCalls.h"

namespace bkfd::native {

void CellTip::Attach(HWND list) {
    constexpr LPARAM kReadingTime = 30'000;  // milliseconds
    list_ = list;
    tip_ = OwnedWindow(Create(WS_EX_TOPMOST, u"tooltips_class32", u"",
                              WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX, RECT{}, list));
    if (!IsAttached()) return;
    Tell(TTM_ADDTOOLW, TTM_ADDTOOLA, cell_, text_);
    Send(tip_.Get(), TTM_SETDELAYTIME, TTDT_AUTOPOP, kReadingTime);
    // With a width, line breaks count.
    Send(tip_.Get(), TTM_SETMAXTIPWIDTH, 0, ::GetSystemMetrics(SM_CXSCREEN) * 2 / 3);
}

void CellTip::Point(const RECT& cell, const Text& text) {
    if (!IsAttached() || (::EqualRect(&cell, &cell_) && text == text_)) return;
    cell_ = cell;
    text_ = text;
    // What is shown goes, as no other message does it on the oldest systems.
    Send(tip_.Get(), TTM_ACTIVATE, FALSE);
    Tell(TTM_NEWTOOLRECTW, TTM_NEWTOOLRECTA, cell, text);
    Tell(TTM_UPDATETIPTEXTW, TTM_UPDATETIPTEXTA, cell, text);
    Send(tip_.Get(), TTM_ACTIVATE, TRUE);
}

void CellTip::Relay(UINT message, WPARAM wParam, LPARAM lParam) const {
    if (!IsAttached()) return;
    MSG relayed = {};
    relayed.hwnd = list_;
    relayed.message = message;
    relayed.wParam = wParam;
    relayed.lParam = lParam;
    relayed.time = static_cast<DWORD>(::GetMessageTime());
    ::GetCursorPos(&relayed.pt);
    Send(tip_.Get(), TTM_RELAYEVENT, 0, reinterpret_cast<LPARAM>(&relayed));
}

LRESULT CellTip::Tell(UINT wide, UINT ansi, const RECT& cell, const Text& text) const {
    const NativeText shown(FittedText(text));
    TOOLINFOW tool = {};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;  // the oldest systems refuse a longer one
    tool.hwnd = list_;
    tool.rect = cell;
    tool.lpszText = shown.Field();
    return Send(tip_.Get(), Either(wide, ansi), 0, reinterpret_cast<LPARAM>(&tool));
}

}  // namespace bkfd::native
