#pragma once

#include <string>

#include "base/Text.h"

namespace bkfd {

/// A registry value that starts a program, for people: "HKLM Run: name" for a key with its root,
/// without the part of the key that nearly all places have in common.
std::string StartedBy(const Text& key, const Text& valueName);

}  // namespace bkfd
