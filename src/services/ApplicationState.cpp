#include "services/ApplicationState.h"

#include "platform/Machine.h"
#include "resources/BuildSettings.h"

namespace bkfd {

bool gIsNT = false;
bool gIsNT4 = false;
Text gWindowsPath;
Text gSystemPath;

Text ProgramFolder() {
    const Text program = TheMachine().System().GetModuleFileNameW();
    Text folder = program.substr(0, program.find_last_of(u'\\'));
    if (folder.ends_with(u':')) folder += u'\\';
    return folder;
}

Text ProgramVersion() {
    using namespace BuildSettings;
    return ToText(VersionMajor) + u"." + ToText(VersionMinor) + u"." + ToText(VersionRevision);
}

}  // namespace bkfd
