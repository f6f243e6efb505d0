#pragma once

#include <string>

#include "services/ItemList.h"

namespace bkfd {

/// The registry value that starts an item of the startup inventory: "HKLM Run: name", without the
/// part of the key that all places have in common.
std::string StartedBy(const ItemNode& item);

}  // namespace bkfd
