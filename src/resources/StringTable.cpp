#include "resources/StringTable.h"

#include <map>

namespace bkfd {

const Text& ResourceString(StringId id) {
    static const std::map<StringId, Text> table = {
#define BKFD_STRING(number, name, text) {StringId::name, u"" text},
#include "resources/strings.inc"
#undef BKFD_STRING
    };
    return table.at(id);
}

}  // namespace bkfd
