#include "ui/TabStrip.h"

#include "ui/Rows.h"

namespace bkfd {

TabStrip::TabStrip(Container& parent, Text name, std::vector<Tab> tabs,
                   std::vector<NamedImage> images)
    : Control(&parent, std::move(name)),
      tabs_(std::move(tabs)),
      images_(std::move(images)),
      selected_(tabs_.empty() ? 0 : 1) {}

void TabStrip::SetSelectedIndex(std::size_t index) {
    selected_ = CheckedIndex(index, tabs_.size());
    Notify({Aspect::Selection});
}

const Text& TabStrip::SelectedKey() const {
    return tabs_[CheckedIndex(selected_, tabs_.size()) - 1].key;
}

void TabStrip::UserSelect(std::size_t index) {
    if (!AcceptsInput()) return;
    SetSelectedIndex(index);
    onClick();
}

bool TabStrip::ActOnKey(int keyCode, int shift) {
    if (shift != 0) return false;
    if (keyCode == Key::Left) keyCode = Key::Up;
    if (keyCode == Key::Right) keyCode = Key::Down;
    const std::size_t tab = RowAfterKey(keyCode, selected_, tabs_.size());
    if (tab != 0) UserSelect(tab);
    return tab != 0;
}

}  // namespace bkfd
