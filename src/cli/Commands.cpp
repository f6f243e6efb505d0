#include "cli/Commands.h"

namespace bkfd {

CommandList MakeCommands() {
    CommandList commands;
    for (const auto make :
         {MakeScanCommand, MakeCleanCommand, MakeBhosCommand, MakeStartupCommand,
          MakeProcessesCommand, MakeSettingsCommand, MakeBackupCommand, MakeDisableCommand,
          MakeRestoreCommand, MakeUndoCommand, MakeIgnoreCommand, MakeIdentifyCommand,
          MakeSignaturesCommand, MakeRegistryCommand, MakeReportCommand, MakeDecodeCommand,
          MakeStartCommand}) {
        commands.push_back(make());
    }
    return commands;
}

}  // namespace bkfd
