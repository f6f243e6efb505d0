#pragma once

#include "platform/hive/RegistryCommit.h"

namespace bkfd {

/// Whether files that are all as they were to become may stay so; otherwise they are rolled back.
enum class MayFinish { No, Yes };

std::variant<RegistryRecovery, RegistryFileError> RecoverJournal(const std::string& root,
                                                                 const std::string& journal,
                                                                 MayFinish mayFinish);

}  // namespace bkfd
