#pragma once

#include <string>
#include <vector>

#include "ui/Form.h"

namespace bkfd {

/// What a form shows, as lines of text for a terminal: visible controls alone, rows and tabs with
/// the numbers by which they are chosen, buttons in brackets, text boxes under their names.
std::string FormText(Form& form);

/// The controls of one kind that are on the screen, in their order.
template <class Kind>
std::vector<Kind*> ShownControls(const Container& container) {
    std::vector<Kind*> shown;
    for (Control* child : container.Children()) {
        if (!child->Visible()) continue;
        if (auto* control = dynamic_cast<Kind*>(child)) shown.push_back(control);
        const auto* inner = dynamic_cast<const Container*>(child);
        if (!inner) continue;
        for (Kind* control : ShownControls<Kind>(*inner)) shown.push_back(control);
    }
    return shown;
}

}  // namespace bkfd
