#include "ui/Desktop.h"

#include "ui/Form.h"

namespace bkfd {

void Desktop::Remove(Form& form) {
    std::erase(forms_, &form);
    PopModal(form);
    if (active_ == &form) active_ = nullptr;
}

void Desktop::PushModal(Form& form) {
    modal_.push_back(&form);
    for (Form* other : forms_) other->BlockingChanged();
}

void Desktop::PopModal(Form& form) {
    if (std::erase(modal_, &form) == 0) return;
    for (Form* other : forms_) other->BlockingChanged();
}

bool Desktop::IsBlocked(const Form& form) const {
    if (modal_.empty()) return false;
    for (const Form* candidate = &form; candidate; candidate = candidate->Owner()) {
        if (candidate == modal_.back()) return false;
    }
    return true;
}

Form* Desktop::Foremost() const {
    for (auto form = modal_.rbegin(); form != modal_.rend(); ++form) {
        if ((*form)->Visible()) return *form;
    }
    for (auto form = forms_.rbegin(); form != forms_.rend(); ++form) {
        if ((*form)->Visible()) return *form;
    }
    return nullptr;
}

}  // namespace bkfd
