#pragma once

#include "base/Text.h"
#include "platform/Machine.h"
#include "services/Logger.h"

namespace bkfd {

/// Writes one line to the log when the system refused a change whose outcome nobody waits for:
/// "Cannot `change`. " and the system's text.
void LogRefusedChange(Logger& logger, Status status, const Text& change, const Text& source);

/// For a key that couldn't be deleted: writes one line to the log if it is still there.
void LogKeyThatStays(Logger& logger, RegistryBase base, const Text& key, const Text& source);

}  // namespace bkfd
