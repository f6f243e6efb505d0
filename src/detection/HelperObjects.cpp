#include "detection/HelperObjects.h"

#include "detection/MPaDetector.h"

namespace bkfd {

bool IsHelperObjectName(TextView subkey) {
    constexpr std::size_t kClassIdLength = 38;
    return subkey.size() == kClassIdLength;
}

Text HelperObjectKey(const Text& clsid) {
    return Text(kHelperObjectsKey) + u"\\" + clsid;
}

HelperObject ReadHelperObject(RegistryAccess& registry, CFileChecker& checker, const Text& clsid) {
    HelperObject object{clsid, {}, {}};
    (void)registry.ReadString(RegistryRoot::LocalMachine, HelperObjectKey(clsid), u"", object.name);
    object.file = checker.GetFullFileNameFromShortFilename(
        checker.GetFileNameFromCommandLine(ServerOfClass(registry, clsid)));
    return object;
}

Text DisplayName(std::initializer_list<Text> names) {
    for (const Text& name : names) {
        if (!name.empty()) return Replace(name, u"&", u"");
    }
    return {};
}

}  // namespace bkfd
