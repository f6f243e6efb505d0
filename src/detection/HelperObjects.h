#pragma once

#include "identity/CFileChecker.h"
#include "services/RegistryAccess.h"

/// The registered browser helper objects, as detection and the panel of step 1 read them.
namespace bkfd {

/// Its subkeys of HKEY_LOCAL_MACHINE are the registered objects, in each view.
inline constexpr TextView kHelperObjectsKey =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";

struct HelperObject {
    Text clsid;  // the class identifier with its braces, as the registry spells it
    Text name;
    Text file;  // full path; empty for a registration without a server
    RegistryView view = RegistryView::Native;  // in which it is registered
    /// False where reading failed behind the identifier: name and file are unknown.
    bool isRead = true;
};

/// The views that have helper objects, the native one first.
std::vector<RegistryView> HelperObjectViews();
/// Whether a subkey's name is one of a helper object: 38 characters, whichever.
bool IsHelperObjectName(TextView subkey);
/// The key of one registration.
Text HelperObjectKey(const Text& clsid);
/// What the registry tells of one object: the name may be empty, and may hold "&".
HelperObject ReadHelperObject(RegistryAccess& registry, CFileChecker& checker, const Text& clsid,
                              RegistryView view = RegistryView::Native);
/// The first name that isn't empty, without any "&".
Text DisplayName(std::initializer_list<Text> names);

}  // namespace bkfd
