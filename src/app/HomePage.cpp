#include "app/HomePage.h"

#include "platform/Machine.h"
#include "resources/BuildSettings.h"

namespace bkfd {

void OpenHomePage() {
    (void)TheMachine().ShellCommands().WinExec(Text(u"explorer ") + BuildSettings::HomePage);
}

}  // namespace bkfd
