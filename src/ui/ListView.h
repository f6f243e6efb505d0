#pragma once

#include <memory>

#include "base/Variant.h"
#include "ui/Control.h"
#include "ui/NamedImage.h"

namespace bkfd {

class ListView;

/// A row of a list view. It can be kept when the list has dropped it.
class ListItem {
  public:
    static constexpr int kWindowText = -1;  // the system's colour for text

    struct SubItem {
        Text text;
        bool bold = false;
        int colour = kWindowText;  // 0x00BBGGRR
    };

    const Text& GetText() const { return text_; }
    void SetText(Text text);
    /// The key of an image of the list, or empty.
    const Text& SmallIcon() const { return smallIcon_; }
    /// Whatever the owner wants to find again.
    const ObjectRef& Tag() const { return tag_; }
    void SetTag(ObjectRef tag) { tag_ = std::move(tag); }

    /// The text behind the first column; sub-item 1 stands in column 2. Empty if never set.
    const SubItem& GetSubItem(std::size_t index) const;
    void SetSubItem(std::size_t index, Text text);
    void SetSubItemLook(std::size_t index, bool bold, int colour);

    bool Selected() const;
    /// Selects this row alone, or takes the selection from it. Nothing if the list dropped it.
    void SetSelected(bool selected);

  private:
    friend class ListView;

    void Changed();
    SubItem& MakeSubItem(std::size_t index);

    ListView* view_ = nullptr;
    std::size_t index_ = 0;  // the row's place from 1, or 0 if the list dropped it
    Text text_;
    Text smallIcon_;
    ObjectRef tag_;
    std::vector<SubItem> subItems_;
};

using ListItemRef = std::shared_ptr<ListItem>;

/// A list in report form: a row for each item, of which one may be selected. The rows stand in the
/// order in which they were added; sorting is the owner's business. Rows count from 1.
class ListView : public Control {
  public:
    struct Column {
        Text caption;
        int width = 0;  // twips
    };

    ListView(Container& parent, Text name, std::vector<Column> columns,
             std::vector<NamedImage> images = {});
    ~ListView() override;

    const std::vector<Column>& Columns() const { return columns_; }
    /// A RuntimeError SubscriptOutOfRange if there is no such column.
    void SetColumnWidth(std::size_t index, int width);
    const std::vector<NamedImage>& Images() const { return images_; }

    std::size_t Count() const { return items_.size(); }
    /// A RuntimeError SubscriptOutOfRange if there is no such row.
    const ListItemRef& Item(std::size_t index) const;
    ListItemRef Add(Text text, Text smallIcon = {});
    void Remove(std::size_t index);
    void Clear();

    std::size_t SelectedIndex() const { return selected_; }
    /// 0 selects nothing. A RuntimeError SubscriptOutOfRange if there is no such row.
    void SetSelectedIndex(std::size_t index);
    /// The selected row, or null.
    ListItemRef SelectedItem() const;

    /// The user's entry: selects the row and raises `onItemClick`, for the selected row too.
    void UserSelect(std::size_t index);

    /// Raised when the user selects a row by mouse or key.
    Event<const ListItemRef&> onItemClick;

    bool TakesFocus() const override { return true; }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    friend class ListItem;

    void DropItems();

    std::vector<Column> columns_;
    std::vector<NamedImage> images_;
    std::vector<ListItemRef> items_;
    std::size_t selected_ = 0;
};

}  // namespace bkfd
