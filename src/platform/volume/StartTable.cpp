#include "platform/volume/StartTable.h"

#include "platform/volume/StartSteps.h"

namespace bkfd {

StartTable MakeStartTable(const StartSources& sources) {
    StartBuilder start(sources);
    const bool isNT = sources.facts.IsNT();
    if (isNT) {
        StartSessionManager(start);
        StartWinlogon(start);
        StartServices(start);
        LoadPackages(start);
    } else {
        StartSystemOf95(start);
    }
    StartShell(start);
    StartBrowser(start);
    StartActiveSetup(start);
    StartRunKeys(start);
    StartStartFolders(start);
    StartTasks(start);
    if (isNT) {
        LoadAppInit(start);
    } else {
        StartIniFiles(start);
    }
    return start.Take();
}

}  // namespace bkfd
