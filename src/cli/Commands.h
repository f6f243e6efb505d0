#pragma once

#include <memory>

#include "cli/Command.h"

namespace bkfd {

std::unique_ptr<Command> MakeScanCommand();
std::unique_ptr<Command> MakeStartCommand();
std::unique_ptr<Command> MakeCleanCommand();
std::unique_ptr<Command> MakeDisableCommand();
std::unique_ptr<Command> MakeBhosCommand();
std::unique_ptr<Command> MakeStartupCommand();
std::unique_ptr<Command> MakeProcessesCommand();
std::unique_ptr<Command> MakeSettingsCommand();
std::unique_ptr<Command> MakeBackupCommand();
std::unique_ptr<Command> MakeRestoreCommand();
std::unique_ptr<Command> MakeUndoCommand();
std::unique_ptr<Command> MakeIgnoreCommand();
std::unique_ptr<Command> MakeIdentifyCommand();
std::unique_ptr<Command> MakeRegistryCommand();
std::unique_ptr<Command> MakeSignaturesCommand();
std::unique_ptr<Command> MakeReportCommand();
std::unique_ptr<Command> MakeDecodeCommand();

}  // namespace bkfd
