#pragma once

#include "ui/Control.h"
#include "ui/NamedImage.h"

namespace bkfd {

/// A row of tabs along the top of an area on which the window shows one panel or another. It lies
/// behind its siblings. Tabs count from 1.
class TabStrip : public Control {
  public:
    struct Tab {
        Text key;
        Text caption;
    };

    /// The first tab is selected. A tab shows the image whose key it has, if there is one.
    TabStrip(Container& parent, Text name, std::vector<Tab> tabs,
             std::vector<NamedImage> images = {});

    const std::vector<Tab>& Tabs() const { return tabs_; }
    const std::vector<NamedImage>& Images() const { return images_; }
    std::size_t SelectedIndex() const { return selected_; }
    /// A RuntimeError SubscriptOutOfRange if there is no such tab.
    void SetSelectedIndex(std::size_t index);
    const Text& SelectedKey() const;

    /// The user's entry: selects the tab and raises `onClick`, for the selected tab too.
    void UserSelect(std::size_t index);

    bool TakesFocus() const override { return true; }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    std::vector<Tab> tabs_;
    std::vector<NamedImage> images_;
    std::size_t selected_ = 0;
};

}  // namespace bkfd
