#pragma once

#include <string>
#include <vector>

#include "platform/Machine.h"

namespace bkfd {

/// A file or folder chosen for an archive.
struct SelectedFile {
    Text path;  // as the machine takes it
    Text name;  // in the archive: "/" between its parts; a folder's ends in one
    FindData data;
};

struct SelectionRules {
    bool isRecursive = false;
    bool withSystemAndHidden = false;
    bool withFolderNames = false;
    bool withFolderEntries = false;
};

/// The files that specifications name, each once, in the order of the specifications and of the
/// disk. A specification is a path whose last part may hold * and ?; with recursion that part is
/// looked for in all folders below too, and a folder stands for all that it holds. Links and
/// folders nested deeper than 256 are passed over.
std::vector<SelectedFile> SelectFiles(Files& files, const std::vector<Text>& specs,
                                      const SelectionRules& rules);

/// Whether a name matches a pattern of * and ?, without regard to case.
bool MatchesPattern(TextView name, TextView pattern);

}  // namespace bkfd
