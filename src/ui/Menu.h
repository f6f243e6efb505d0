#pragma once

#include <vector>

#include "base/Text.h"
#include "ui/Event.h"

namespace bkfd {

class Form;

/// An entry of a menu, or a menu of such entries. Menus of a form's menu bar are made with the
/// form, popup menus alone. Entries are made in the order in which they are shown and live as long
/// as their menu.
class MenuItem : public Watchable {
  public:
    /// A caption of "-" makes a separator. An "&" stands before the letter that chooses the entry.
    MenuItem(Form& bar, Text name, Text caption);
    MenuItem(MenuItem& menu, Text name, Text caption);
    /// A popup menu.
    MenuItem(Text name, Text caption);
    ~MenuItem();

    const Text& Name() const { return name_; }
    const Text& Caption() const { return caption_; }
    const std::vector<MenuItem*>& Entries() const { return entries_; }
    bool IsSeparator() const { return caption_ == u"-"; }
    bool Enabled() const { return enabled_; }
    void SetEnabled(bool enabled);
    bool Visible() const { return visible_; }
    void SetVisible(bool visible);
    /// The entry of that name below this one, or null.
    MenuItem* Find(TextView name);

    /// The user's entry: raises `onClick` unless the entry is a separator, a menu, disabled or
    /// hidden, or its form doesn't accept input.
    void Choose();

    Event<> onClick;

  private:
    friend class Form;

    bool CanBeChosen() const;
    void Tell();
    Form* Bar() const;

    Form* bar_ = nullptr;
    MenuItem* menu_ = nullptr;
    Text name_;
    Text caption_;
    bool enabled_ = true;
    bool visible_ = true;
    std::vector<MenuItem*> entries_;
};

}  // namespace bkfd
