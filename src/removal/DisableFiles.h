#pragma once

#include <vector>

#include "services/KeyedList.h"
#include "services/Logger.h"

namespace bkfd {

/// The file names that the encoded names of a log stand for, however a mail has wrapped them. Any
/// other text is what it is; what has a backslash is a name already.
std::vector<Text> DecodedFileNames(const Text& text);

/// The files that a list of names stands for.
struct NamedFiles {
    KeyedList files;            // full names of those that are there, each once, as item and key
    std::vector<Text> missing;  // the other names
};

/// Resolves the names. For a file that isn't there the user is asked whether to go on without it;
/// false if the user gave up.
bool CollectFilesToDisable(const std::vector<Text>& names, const LoggerRef& logger,
                           NamedFiles& named);

/// Renames the files, ends their holders, repairs the settings and offers the restart, which ends
/// the program. Helper objects and startup entries stay as they are, and no stamp is written: those
/// belong to the cleanup. `source` is the operation that the log names.
void DisableFiles(const KeyedList& files, const LoggerRef& logger, const Text& source);

}  // namespace bkfd
