#include "detection/HelperObjects.h"

#include "detection/MPaDetector.h"
#include "identity/NameInView.h"
#include "platform/RegistryViews.h"

namespace bkfd {

std::vector<RegistryView> HelperObjectViews() {
    return ViewsOf(TheMachine().System(), RegistryRoot::LocalMachine, kHelperObjectsKey);
}

bool IsHelperObjectName(TextView subkey) {
    constexpr std::size_t kClassIdLength = 38;
    return subkey.size() == kClassIdLength;
}

Text HelperObjectKey(const Text& clsid) {
    return Text(kHelperObjectsKey) + u"\\" + clsid;
}

HelperObject ReadHelperObject(RegistryAccess& registry, CFileChecker& checker, const Text& clsid,
                              RegistryView view) {
    HelperObject object{clsid, {}, {}, view};
    (void)registry.ReadString({RegistryRoot::LocalMachine, view}, HelperObjectKey(clsid), u"",
                              object.name);
    object.file = checker.GetFullFileNameFromShortFilename(
        NameInView(view, checker.GetFileNameFromCommandLine(ServerOfClass(registry, clsid, view))));
    return object;
}

Text DisplayName(std::initializer_list<Text> names) {
    for (const Text& name : names) {
        if (!name.empty()) return Replace(name, u"&", u"");
    }
    return {};
}

}  // namespace bkfd
