#pragma once

#include <vector>

#include "detection/HelperObjects.h"
#include "ignore/IgnoreList.h"
#include "services/Logger.h"

/// What the windows change in the ignore list. A failure, such as of a damaged list, is logged
/// under the source and shown; the list stays as it is then.
namespace bkfd {

/// Puts the helper object on the list, by class and path. Asks nothing.
void StartIgnoring(const HelperObject& object, Logger& logger, const Text& source);
/// Takes the entries off the list if the user agrees, since their dates and notes go with them.
/// `title` is the name in the question.
void StopIgnoring(const Text& title, const std::vector<IgnoreEntry>& entries, Logger& logger,
                  const Text& source);

}  // namespace bkfd
