#include "ui/ListView.h"

#include <algorithm>

#include "ui/Rows.h"

namespace bkfd {

void ListItem::SetText(Text text) {
    text_ = std::move(text);
    Changed();
}

const ListItem::SubItem& ListItem::GetSubItem(std::size_t index) const {
    static const SubItem kNone;
    return index == 0 || index > subItems_.size() ? kNone : subItems_[index - 1];
}

void ListItem::SetSubItem(std::size_t index, Text text) {
    MakeSubItem(index).text = std::move(text);
    Changed();
}

void ListItem::SetSubItemLook(std::size_t index, bool bold, int colour) {
    SubItem& item = MakeSubItem(index);
    item.bold = bold;
    item.colour = colour;
    Changed();
}

ListItem::SubItem& ListItem::MakeSubItem(std::size_t index) {
    constexpr std::size_t kMostColumns = 256;
    CheckedIndex(index, kMostColumns);
    if (subItems_.size() < index) subItems_.resize(index);
    return subItems_[index - 1];
}

bool ListItem::Selected() const {
    return view_ && view_->selected_ == index_;
}

void ListItem::SetSelected(bool selected) {
    if (view_ && selected != Selected()) view_->SetSelectedIndex(selected ? index_ : 0);
}

void ListItem::Changed() {
    if (view_) view_->Notify({Aspect::ItemChanged, index_});
}

ListView::ListView(Container& parent, Text name, std::vector<Column> columns,
                   std::vector<NamedImage> images)
    : Control(&parent, std::move(name)), columns_(std::move(columns)), images_(std::move(images)) {}

ListView::~ListView() {
    DropItems();
}

// Items that others keep are told that they stand in no list.
void ListView::DropItems() {
    for (const ListItemRef& item : items_) {
        item->view_ = nullptr;
        item->index_ = 0;
    }
    items_.clear();
}

void ListView::SetColumnWidth(std::size_t index, int width) {
    Column& column = columns_[CheckedIndex(index, columns_.size()) - 1];
    if (column.width == std::max(width, 0)) return;
    column.width = std::max(width, 0);
    Notify({Aspect::Columns, index});
}

const ListItemRef& ListView::Item(std::size_t index) const {
    return items_[CheckedIndex(index, items_.size()) - 1];
}

ListItemRef ListView::Add(Text text, Text smallIcon) {
    auto item = std::make_shared<ListItem>();
    item->text_ = std::move(text);
    item->smallIcon_ = std::move(smallIcon);
    item->view_ = this;
    items_.push_back(item);
    item->index_ = items_.size();
    Notify({Aspect::ItemAdded, items_.size()});
    return item;
}

void ListView::Remove(std::size_t index) {
    const ListItemRef item = Item(index);
    item->view_ = nullptr;
    item->index_ = 0;
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index - 1));
    for (std::size_t at = index - 1; at < items_.size(); ++at) items_[at]->index_ = at + 1;
    selected_ = RowAfterRemoval(selected_, index);
    Notify({Aspect::ItemRemoved, index});
}

void ListView::Clear() {
    DropItems();
    selected_ = 0;
    Notify({Aspect::ItemsCleared});
}

void ListView::SetSelectedIndex(std::size_t index) {
    selected_ = index == 0 ? 0 : CheckedIndex(index, items_.size());
    Notify({Aspect::Selection});
}

ListItemRef ListView::SelectedItem() const {
    return selected_ == 0 ? nullptr : items_[selected_ - 1];
}

void ListView::UserSelect(std::size_t index) {
    if (!AcceptsInput()) return;
    const ListItemRef item = Item(index);
    SetSelectedIndex(index);
    onItemClick(item);
}

bool ListView::ActOnKey(int keyCode, int shift) {
    const std::size_t row = shift == 0 ? RowAfterKey(keyCode, selected_, items_.size()) : 0;
    if (row != 0) UserSelect(row);
    return row != 0;
}

}  // namespace bkfd
