#pragma once

#include "ui/Form.h"

namespace bkfd {

/// The parts of a window that shows a list and does something with the selected row.
struct ListFormParts {
    Control& picture;
    Control& text;    // says what the window is for, beside the picture
    Control& prompt;  // over the list
    Control& list;
    Control& work;  // the button that does it
    int workWidth;  // its width in twips
    Control& close;
};

/// Puts them where they are in a window of its size: the list takes what the others leave.
void LayOutListForm(const Form& form, const ListFormParts& parts);

}  // namespace bkfd
