#include "ui/Control.h"

#include <algorithm>

#include "ui/Form.h"

namespace bkfd {

char16_t MnemonicOf(TextView caption) {
    for (std::size_t at = 0; at + 1 < caption.size(); ++at) {
        if (caption[at] != u'&') continue;
        ++at;
        if (caption[at] != u'&') return ToLower(caption[at]);
    }
    return 0;
}

Text WithoutMnemonic(TextView caption) {
    Text seen;
    for (std::size_t at = 0; at < caption.size(); ++at) {
        if (caption[at] == u'&' && ++at == caption.size()) break;
        seen += caption[at];
    }
    return seen;
}

Control::Control(Container* parent, Text name) : parent_(parent), name_(std::move(name)) {
    if (parent_) parent_->children_.push_back(this);
}

Control::~Control() {
    if (parent_) std::erase(parent_->children_, this);
    if (Toolkit* toolkit = InstalledToolkit()) toolkit->Forget(*this);
}

Form* Control::HostForm() {
    Control* control = this;
    while (control->parent_) control = control->parent_;
    return dynamic_cast<Form*>(control);
}

void Control::SetEnabled(bool enabled) {
    if (enabled_ == enabled) return;
    enabled_ = enabled;
    Notify({Aspect::Enabled});
    if (Form* form = HostForm()) form->RepairFocus();
}

void Control::SetVisible(bool visible) {
    if (visible_ == visible) return;
    visible_ = visible;
    Notify({Aspect::Visible});
    if (Form* form = HostForm()) form->RepairFocus();
}

bool Control::AcceptsInput() const {
    const Form* form = HostForm();
    if (!form || form->IsBlocked()) return false;
    for (const Control* control = this; control; control = control->parent_) {
        if (!control->visible_ || !control->enabled_) return false;
    }
    return true;
}

void Control::SetBounds(Bounds bounds) {
    bounds.width = std::max(bounds.width, 0);
    bounds.height = std::max(bounds.height, 0);
    if (bounds == bounds_) return;
    const bool resized = bounds.Extent() != bounds_.Extent();
    bounds_ = bounds;
    Notify({Aspect::Bounds});
    if (resized) Resized();
}

void Control::SetLeft(int left) {
    SetBounds({left, bounds_.top, bounds_.width, bounds_.height});
}

void Control::SetTop(int top) {
    SetBounds({bounds_.left, top, bounds_.width, bounds_.height});
}

void Control::SetWidth(int width) {
    SetBounds({bounds_.left, bounds_.top, width, bounds_.height});
}

void Control::SetHeight(int height) {
    SetBounds({bounds_.left, bounds_.top, bounds_.width, height});
}

bool Control::HasFocus() const {
    const Form* form = HostForm();
    return form && form->Focused() == this;
}

void Control::SetFocus() {
    if (Form* form = HostForm()) form->FocusOn(*this);
}

void Control::Click() {
    if (AcceptsInput()) onClick();
}

void Control::DoubleClick() {
    if (AcceptsInput()) onDoubleClick();
}

void Control::MouseUp(int button, int shift, int x, int y) {
    if (AcceptsInput()) onMouseUp(button, shift, x, y);
}

void Control::Notify(Change change) {
    const Form* form = HostForm();
    if (!form || !form->IsRealised()) return;
    if (Toolkit* toolkit = InstalledToolkit()) toolkit->Changed(*this, change);
}

Container::~Container() {
    // Controls that outlive their container stand alone from here on.
    for (Control* child : children_) child->parent_ = nullptr;
}

Control* Container::FindControl(TextView name) {
    for (Control* child : children_) {
        if (child->Name() == name) return child;
        auto* container = dynamic_cast<Container*>(child);
        Control* found = container ? container->FindControl(name) : nullptr;
        if (found) return found;
    }
    return nullptr;
}

}  // namespace bkfd
