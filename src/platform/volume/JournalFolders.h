#pragma once

#include <string>
#include <vector>

#include "platform/volume/VolumeMachine.h"

namespace bkfd {

/// The journals of commits that broke off, as far as their folder can be told without the registry,
/// which may be what is torn: the program's folder in any folder at the top of a drive, as
/// "Program Files\\Brackenfold" is, or the one that is given. Paths on the host, links resolved.
std::vector<std::string> FindUnfinishedCommits(const FoundWindows& found,
                                               const VolumeOptions& options);

}  // namespace bkfd
