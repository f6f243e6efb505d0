#pragma once

#include "base/Text.h"

namespace bkfd::native {

/// Empty if the clipboard holds no text or another program keeps it open.
Text ReadClipboard();
void WriteClipboard(TextView text);

}  // namespace bkfd::native
