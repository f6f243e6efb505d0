#pragma once

#include "base/Text.h"

namespace bkfd {

/// Whether Windows' common rule could have made the short name ("PROGRA~1") of the long one: what
/// MS-DOS can't have is left out or replaced, the first characters stay, a number follows "~".
/// Names ignore case. The form with four digits of a hash isn't told.
bool MayBeShortNameOf(TextView shortName, TextView longName);

}  // namespace bkfd
