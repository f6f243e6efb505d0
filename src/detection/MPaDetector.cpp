#include "detection/MPaDetector.h"

#include "identity/NameInView.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"

namespace bkfd {

Text ServerOfClass(RegistryAccess& registry, const Text& clsid, RegistryView view) {
    Text server;
    for (const TextView kind : {u"\\InProcServer32", u"\\LocalServer32"}) {
        (void)registry.ReadString({RegistryRoot::ClassesRoot, view},
                                  Text(u"CLSID\\").append(clsid).append(kind), u"", server);
        if (!server.empty()) break;
    }
    return server;
}

bool IsSystemClsidServer(RegistryAccess& registry, const Text& clsid, const Text& moduleName,
                         Text& serverPath, RegistryView view) {
    const Text expected = ToLower(NameInView(view, gSystemPath + moduleName));
    serverPath = ServerOfClass(registry, clsid, view);
    return ToLower(NameInView(view, SysUtil::ExpandEnvironment(serverPath))) == expected;
}

}  // namespace bkfd
