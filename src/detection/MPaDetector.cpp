#include "detection/MPaDetector.h"

#include "services/ApplicationState.h"
#include "services/SysUtil.h"

namespace bkfd {

bool IsSystemClsidServer(RegistryAccess& registry, const Text& clsid, const Text& moduleName,
                         Text& serverPath) {
    const Text expected = ToLower(gSystemPath + moduleName);
    const Text key = u"CLSID\\" + clsid;
    serverPath.clear();
    static_cast<void>(
        registry.ReadString(RegistryRoot::ClassesRoot, key + u"\\InProcServer32", u"", serverPath));
    if (serverPath.empty()) {
        static_cast<void>(registry.ReadString(RegistryRoot::ClassesRoot, key + u"\\LocalServer32",
                                              u"", serverPath));
    }
    return ToLower(SysUtil::ExpandEnvironment(serverPath)) == expected;
}

}  // namespace bkfd
