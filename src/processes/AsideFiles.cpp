#include "processes/AsideFiles.h"

#include "processes/ParasiteFileName.h"
#include "services/FileUtil.h"

namespace bkfd {

Text AsideName(const Text& path, int number) {
    Text name = path + u".bkfd-aside";
    if (number > 1) name += ToText(number);
    return name;
}

Text LastAside(const Text& path) {
    Text last;
    for (int number = 1; FileUtil::FileExists(AsideName(path, number)); ++number) {
        last = AsideName(path, number);
    }
    return last;
}

Text FreeAsideName(const Text& path) {
    int number = 1;
    while (FileUtil::FileExists(AsideName(path, number))) ++number;
    return AsideName(path, number);
}

bool HasDisabledFile(const Text& path) {
    const Text disabled = GetParasiteFileName(path);
    return FileUtil::FileExists(disabled) || !LastAside(disabled).empty();
}

}  // namespace bkfd
