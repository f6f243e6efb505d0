#pragma once

#include <string>

#include "ui/Form.h"

namespace bkfd {

/// What can be typed, a command to a line.
std::string FormCommandHelp();

/// Does to the form, as its user, what a typed line says. Returns the complaint about a line that
/// can't be followed, in which case nothing was done; else the empty text. The form may be gone
/// afterwards.
std::string RunFormCommand(Form& form, const std::string& line);

}  // namespace bkfd
