#include "processes/RemovedFiles.h"

#include "processes/AsideFiles.h"
#include "services/RegistryAccess.h"

namespace bkfd {

std::vector<Text> RestorableFiles() {
    std::vector<Text> files;
    RegistryAccess registry;
    for (const Variant& name : registry.EnumValues(kRemovedFilesRoot, kRemovedFilesKey)) {
        if (HasDisabledFile(name.AsText())) files.push_back(name.AsText());
    }
    return files;
}

}  // namespace bkfd
