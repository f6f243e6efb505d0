#include "identity/ApplicationStart.h"

#include "identity/CHashier.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {

void SetApplicationState(ContinueOnError& step) {
    step([] { gHashier = std::make_unique<CHashier>(); });
    step([] { gIsNT = IsWindowsNT(); });
    step([] { gIsNT4 = IsWindowsNT4(); });
    step([] { gWindowsPath = WithBackslash(ToLower(SysUtil::ExpandEnvironment(u"%windir%"))); });
    step([] { gSystemPath = ToLower(gWindowsPath + (gIsNT ? u"system32\\" : u"system\\")); });
}

void SetApplicationState() {
    ContinueOnError step;
    SetApplicationState(step);
    if (const auto error = step.TakePending()) throw *error;
}

}  // namespace bkfd
