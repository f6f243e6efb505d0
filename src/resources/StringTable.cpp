#include "resources/StringTable.h"

#include <map>

#include "base/RuntimeError.h"

namespace bkfd {

const Text& ResourceString(int number) {
    static const std::map<int, Text> table = {
#define BKFD_STRING(id, text) {id, u"" text},
#include "resources/strings.inc"
#undef BKFD_STRING
    };
    const auto entry = table.find(number);
    if (entry == table.end()) {
        throw RuntimeError(ErrorNumber::Internal, u"No string number " + ToText(number));
    }
    return entry->second;
}

}  // namespace bkfd
