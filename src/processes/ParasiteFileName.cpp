#include "processes/ParasiteFileName.h"

namespace bkfd {

Text GetParasiteFileName(TextView path) {
    const std::size_t nameAt = path.rfind(u'\\') + 1;  // npos + 1 is 0
    Text disabled(path.substr(0, nameAt));
    disabled += u"parasite_";
    disabled += path.substr(nameAt);
    disabled += u".parasite";
    return disabled;
}

}  // namespace bkfd
