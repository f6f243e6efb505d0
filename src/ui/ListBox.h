#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A list of lines of which one may be selected. Lines count from 1.
class ListBox : public Control {
  public:
    ListBox(Container& parent, Text name) : Control(&parent, std::move(name)) {}

    std::size_t Count() const { return lines_.size(); }
    /// A RuntimeError SubscriptOutOfRange if there is no such line.
    const Text& Line(std::size_t index) const;
    void Add(Text line);
    /// A RuntimeError SubscriptOutOfRange if there is no such line. The selection goes with it.
    void Remove(std::size_t index);
    void Clear();

    /// 0 means that no line is selected.
    std::size_t SelectedIndex() const { return selected_; }
    void SetSelectedIndex(std::size_t index);
    /// The selected line, or the empty text.
    Text SelectedText() const;

    /// The user's entry: selects the line and raises `onClick`.
    void UserSelect(std::size_t index);

    bool TakesFocus() const override { return true; }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    std::vector<Text> lines_;
    std::size_t selected_ = 0;
};

}  // namespace bkfd
