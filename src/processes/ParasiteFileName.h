#pragma once

#include "base/Text.h"

namespace bkfd {

/// The name under which a file is disabled: "parasite_" before its last component, ".parasite"
/// behind it, in the same folder. The only link between the list of removed files and the disk.
Text GetParasiteFileName(TextView path);

}  // namespace bkfd
