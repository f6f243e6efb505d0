#include "ui/win32/NativeMenu.h"

#include "ui/win32/NativeCalls.h"
#include "win32/WindowHandles.h"

namespace bkfd::native {
namespace {

void AppendEntries(HMENU native, const MenuItem& menu, std::vector<Weak<MenuItem>>& numbered) {
    for (MenuItem* entry : menu.Entries()) {
        if (!entry->Visible()) continue;
        numbered.emplace_back(entry);
        const UINT flags = entry->IsSeparator() ? MF_SEPARATOR
                           : entry->Enabled()   ? MF_ENABLED
                                                : MF_GRAYED;
        AppendMenuEntry(native, flags, numbered.size(), entry->Caption());
    }
}

MenuItem* EntryOf(const std::vector<Weak<MenuItem>>& numbered, std::size_t id) {
    return id == 0 || id > numbered.size() ? nullptr : numbered[id - 1].Get();
}

}  // namespace

void NativeMenuBar::Replace(HWND window, const std::vector<MenuItem*>& menus) {
    const OwnedMenu old(::GetMenu(window));
    entries_.clear();
    HMENU bar = nullptr;
    for (const MenuItem* menu : menus) {
        if (!menu->Visible()) continue;
        if (!bar) bar = ::CreateMenu();
        const HMENU entries = ::CreatePopupMenu();
        AppendEntries(entries, *menu, entries_);
        AppendMenuEntry(bar, MF_POPUP | (menu->Enabled() ? MF_ENABLED : MF_GRAYED),
                        reinterpret_cast<UINT_PTR>(entries), menu->Caption());
    }
    ::SetMenu(window, bar);
}

MenuItem* NativeMenuBar::Find(UINT id) const {
    return EntryOf(entries_, id);
}

MenuItem* TrackPopup(HWND window, MenuItem& menu, POINT place) {
    const OwnedMenu native(::CreatePopupMenu());
    std::vector<Weak<MenuItem>> entries;
    AppendEntries(native.Get(), menu, entries);
    const int id = ::TrackPopupMenu(native.Get(), TPM_RETURNCMD | TPM_NONOTIFY | TPM_RIGHTBUTTON,
                                    place.x, place.y, 0, window, nullptr);
    return EntryOf(entries, static_cast<std::size_t>(id));
}

}  // namespace bkfd::native
