#pragma once

#include <functional>
#include <string>

#include "formats/RegistryVisitor.h"

namespace bkfd {

/// How a registry file of this computer is read.
struct RegistryFileOptions {
    std::function<Text(std::string_view)> decode;  // 8-bit names and texts of the 95 family
    bool replaysLogs = true;                       // that lie beside a hive
};

/// Recognises the form of a registry file (hive, CREG, Wine's text, registry export) and tells all
/// that it holds, in its order. The logs of a hive that wasn't written to the end are replayed in
/// memory: X.LOG, X.LOG1 and X.LOG2 beside X, in any case. `onNote` is told what was done with
/// them. What is no registry file, or no readable one, is a CommandError.
void WalkRegistryFile(const std::string& path, const RegistryFileOptions& options,
                      RegistryVisitor& visitor,
                      const std::function<void(const std::string& note)>& onNote);

}  // namespace bkfd
