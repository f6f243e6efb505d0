#include "detection/MPaDetector.h"

#include "services/ApplicationState.h"
#include "services/SysUtil.h"

namespace bkfd {

Text ServerOfClass(RegistryAccess& registry, const Text& clsid) {
    Text server;
    for (const TextView kind : {u"\\InProcServer32", u"\\LocalServer32"}) {
        (void)registry.ReadString(RegistryRoot::ClassesRoot,
                                  Text(u"CLSID\\").append(clsid).append(kind), u"", server);
        if (!server.empty()) break;
    }
    return server;
}

bool IsSystemClsidServer(RegistryAccess& registry, const Text& clsid, const Text& moduleName,
                         Text& serverPath) {
    const Text expected = ToLower(gSystemPath + moduleName);
    serverPath = ServerOfClass(registry, clsid);
    return ToLower(SysUtil::ExpandEnvironment(serverPath)) == expected;
}

}  // namespace bkfd
