#pragma once

#include "base/Text.h"

namespace bkfd {

/// The folder of the backup files. `programFolder` is as `ProgramFolder` gives it.
Text BackupFolder(const Text& programFolder);

/// Saves what the program may change in the registry to a new file of the registry editor's format
/// in the backup folder, and returns the file's full name. A backup of the same second is replaced.
/// Keys that don't exist leave nothing behind. A failure is a RuntimeError, and no file is written.
/// `user` is in the file's name, where there are backups of several users.
Text WriteRegistryBackup(const Text& programFolder, const Text& user = {});

}  // namespace bkfd
