#include "ui/win32/Clipboard.h"

#include <algorithm>

#include "win32/Handles.h"
#include "win32/NativeText.h"

namespace bkfd::native {
namespace {

/// The clipboard, open for as long as the scope lasts, if no other program has it open.
class OpenedClipboard {
  public:
    OpenedClipboard() : isOpen_(::OpenClipboard(nullptr) != 0) {}
    OpenedClipboard(const OpenedClipboard&) = delete;
    OpenedClipboard& operator=(const OpenedClipboard&) = delete;
    ~OpenedClipboard() {
        if (isOpen_) ::CloseClipboard();
    }
    bool IsOpen() const { return isOpen_; }

  private:
    bool isOpen_;
};

/// Locked memory of the clipboard.
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

/// Null without memory.
OwnedGlobalMemory CopyToMemory(const NativeText& text) {
    OwnedGlobalMemory memory(::GlobalAlloc(GMEM_MOVEABLE, text.Size()));
    if (!memory.IsThere()) return memory;
    const Locked locked(memory.Get());
    const auto* source = reinterpret_cast<const char*>(text.Param());
    std::copy_n(source, text.Size(), static_cast<char*>(locked.Data()));
    return memory;
}

}  // namespace

Text ReadClipboard() {
    const OpenedClipboard clipboard;
    if (!clipboard.IsOpen()) return {};
    if (::IsClipboardFormatAvailable(CF_UNICODETEXT)) {
        return Locked(::GetClipboardData(CF_UNICODETEXT)).String<char16_t>();
    }
    if (!::IsClipboardFormatAvailable(CF_TEXT)) return {};
    return FromAnsi(Locked(::GetClipboardData(CF_TEXT)).String<char>());
}

void WriteClipboard(TextView text) {
    OwnedGlobalMemory memory = CopyToMemory(NativeText(text));
    const OpenedClipboard clipboard;
    if (!memory.IsThere() || !clipboard.IsOpen()) return;
    ::EmptyClipboard();
    const UINT format = HasWideCalls() ? CF_UNICODETEXT : CF_TEXT;
    // From here on the memory is the system's, unless it refuses it.
    if (::SetClipboardData(format, memory.Get())) memory.Release();
}

}  // namespace bkfd::native
