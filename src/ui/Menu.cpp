#include "ui/Menu.h"

#include "ui/Form.h"

namespace bkfd {

MenuItem::MenuItem(Form& bar, Text name, Text caption)
    : bar_(&bar), name_(std::move(name)), caption_(std::move(caption)) {
    bar.menus_.push_back(this);
}

MenuItem::MenuItem(MenuItem& menu, Text name, Text caption)
    : menu_(&menu), name_(std::move(name)), caption_(std::move(caption)) {
    menu.entries_.push_back(this);
}

MenuItem::MenuItem(Text name, Text caption)
    : name_(std::move(name)), caption_(std::move(caption)) {}

MenuItem::~MenuItem() {
    for (MenuItem* entry : entries_) entry->menu_ = nullptr;
    if (menu_) std::erase(menu_->entries_, this);
    if (bar_) std::erase(bar_->menus_, this);
}

void MenuItem::SetEnabled(bool enabled) {
    if (enabled_ == enabled) return;
    enabled_ = enabled;
    Tell();
}

void MenuItem::SetVisible(bool visible) {
    if (visible_ == visible) return;
    visible_ = visible;
    Tell();
}

MenuItem* MenuItem::Find(TextView name) {
    for (MenuItem* entry : entries_) {
        if (entry->name_ == name) return entry;
        if (MenuItem* found = entry->Find(name)) return found;
    }
    return nullptr;
}

void MenuItem::Choose() {
    if (CanBeChosen()) onClick();
}

bool MenuItem::CanBeChosen() const {
    if (IsSeparator() || !entries_.empty()) return false;
    for (const MenuItem* item = this; item; item = item->menu_) {
        if (!item->enabled_ || !item->visible_) return false;
    }
    const Form* form = Bar();
    return !form || form->AcceptsInput();
}

void MenuItem::Tell() {
    if (Form* form = Bar()) form->MenuChanged();
}

Form* MenuItem::Bar() const {
    const MenuItem* item = this;
    while (item->menu_) item = item->menu_;
    return item->bar_;
}

}  // namespace bkfd
