#pragma once

#include <vector>

namespace bkfd {

class Form;

/// The program's loaded forms, and which of them the user can act on.
class Desktop {
  public:
    /// In the order of loading.
    const std::vector<Form*>& Forms() const { return forms_; }
    void Add(Form& form) { forms_.push_back(&form); }
    /// Strikes the form out of all that this class keeps.
    void Remove(Form& form);

    /// From `PushModal` until `PopModal` the form alone, and forms owned by it, accept input. Every
    /// other loaded form is told.
    void PushModal(Form& form);
    void PopModal(Form& form);
    bool IsBlocked(const Form& form) const;

    /// The form that the user works in, or null.
    Form* Active() const { return active_; }
    void SetActive(Form* form) { active_ = form; }

    /// The visible form that takes over when another one goes: the innermost modal one, else the
    /// one loaded last; or null.
    Form* Foremost() const;

  private:
    std::vector<Form*> forms_;
    std::vector<Form*> modal_;
    Form* active_ = nullptr;
};

}  // namespace bkfd
