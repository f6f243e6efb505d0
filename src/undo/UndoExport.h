#pragma once

#include "platform/undo/UndoRecord.h"

namespace bkfd {

/// The registry as it was before the recorded operation, as far as that changed it: an export file
/// of version 5.00 that the registry editor accepts. What wasn't there is written as a deletion.
/// The text has its header, without the mark of the encoding.
Text ExportBefore(const UndoRecord& record);

}  // namespace bkfd
