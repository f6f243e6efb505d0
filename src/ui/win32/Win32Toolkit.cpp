#include "ui/win32/Win32Toolkit.h"

#include <windows.h>

namespace bkfd {
namespace {

/// The message calls of the system's family: the Windows 95 family has the ANSI ones only.
struct MessageCalls {
    decltype(&::PeekMessageW) peek;
    decltype(&::DispatchMessageW) dispatch;
};

const MessageCalls& Messages() {
    static const MessageCalls calls = (::GetVersion() & 0x80000000u) == 0
                                          ? MessageCalls{::PeekMessageW, ::DispatchMessageW}
                                          : MessageCalls{::PeekMessageA, ::DispatchMessageA};
    return calls;
}

const wchar_t* Wide(const Text& text) {
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

}  // namespace

MessageResult Win32Toolkit::ShowMessageBox(const Text& prompt, int style, const Text& title) {
    const HWND owner = ::GetActiveWindow();
    // Without a window of ours the box would come up behind those of others.
    const UINT flags = static_cast<UINT>(style) | (owner == nullptr ? MB_SETFOREGROUND : 0u);
    // This wide call is one of the few that both families have.
    const int pressed = ::MessageBoxW(owner, Wide(prompt), Wide(title), flags);
    return pressed == IDOK ? MessageResult::Ok : MessageResult::Cancel;
}

void Win32Toolkit::PumpMessages() {
    MSG message = {};
    while (Messages().peek(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
        if (message.message == WM_QUIT) {
            // It belongs to the loop that waits for the program's end.
            ::PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        ::TranslateMessage(&message);
        Messages().dispatch(&message);
    }
}

void Win32Toolkit::SetPointer(Pointer pointer) {
    Toolkit::SetPointer(pointer);
    ::SetCursor(::LoadCursorA(nullptr, pointer == Pointer::Hourglass ? IDC_WAIT : IDC_ARROW));
}

void Win32Toolkit::EndProcess() {
    ::ExitProcess(0);
}

}  // namespace bkfd
