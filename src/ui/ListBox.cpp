#include "ui/ListBox.h"

#include "ui/Rows.h"

namespace bkfd {

const Text& ListBox::Line(std::size_t index) const {
    return lines_[CheckedIndex(index, lines_.size()) - 1];
}

void ListBox::Add(Text line) {
    lines_.push_back(std::move(line));
    Notify({Aspect::ItemAdded, lines_.size()});
}

void ListBox::Remove(std::size_t index) {
    const std::size_t at = CheckedIndex(index, lines_.size()) - 1;
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(at));
    selected_ = RowAfterRemoval(selected_, index);
    Notify({Aspect::ItemRemoved, index});
}

void ListBox::Clear() {
    lines_.clear();
    selected_ = 0;
    Notify({Aspect::ItemsCleared});
}

void ListBox::SetSelectedIndex(std::size_t index) {
    selected_ = index == 0 ? 0 : CheckedIndex(index, lines_.size());
    Notify({Aspect::Selection});
}

Text ListBox::SelectedText() const {
    return selected_ == 0 ? Text() : lines_[selected_ - 1];
}

void ListBox::UserSelect(std::size_t index) {
    if (!AcceptsInput()) return;
    SetSelectedIndex(CheckedIndex(index, lines_.size()));
    onClick();
}

bool ListBox::ActOnKey(int keyCode, int shift) {
    const std::size_t row = shift == 0 ? RowAfterKey(keyCode, selected_, lines_.size()) : 0;
    if (row != 0) UserSelect(row);
    return row != 0;
}

}  // namespace bkfd
