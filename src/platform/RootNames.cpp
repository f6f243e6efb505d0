#include "platform/RootNames.h"

namespace bkfd {

TextView RegistryRootName(RegistryRoot root) {
    switch (root) {
        case RegistryRoot::ClassesRoot:
            return u"HKEY_CLASSES_ROOT";
        case RegistryRoot::CurrentUser:
            return u"HKEY_CURRENT_USER";
        case RegistryRoot::LocalMachine:
            return u"HKEY_LOCAL_MACHINE";
        case RegistryRoot::Users:
            return u"HKEY_USERS";
    }
    return {};
}

}  // namespace bkfd
