#pragma once

#include <string>

#include "ui/Control.h"

namespace bkfd {

/// A form with all that it holds as readable text, a control to a line, what it holds indented
/// below it. UTF-8. Captions and texts stand in quotes with control characters escaped; hidden and
/// disabled controls, the selected rows and the focus are marked. Places and sizes are left out.
std::string Describe(Control& control);

}  // namespace bkfd
