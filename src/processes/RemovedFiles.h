#pragma once

#include <vector>

#include "platform/Machine.h"

namespace bkfd {

// The list of removed files in the registry, by which a disabled file finds its name again: one
// string value a file, whose name and data are the file's former full path.
inline constexpr RegistryRoot kRemovedFilesRoot = RegistryRoot::CurrentUser;
inline constexpr char16_t kRemovedFilesKey[] =
    u"Software\\Tarnwick Labs\\Brackenfold\\Current Version\\Removed Files";

/// Former names of the disabled files that are still there, in the list's order.
std::vector<Text> RestorableFiles();

}  // namespace bkfd
