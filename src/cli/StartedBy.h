#pragma once

#include <string>

#include "platform/Machine.h"

namespace bkfd {

/// A registry value that starts a program, for people: "HKLM Run: name" for a key with its root,
/// without the part of the key that nearly all places have in common.
std::string StartedBy(const Text& key, const Text& valueName,
                      RegistryView view = RegistryView::Native);

}  // namespace bkfd
