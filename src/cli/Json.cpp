#include "cli/Json.h"

#include <nlohmann/json.hpp>
#include <ostream>

namespace bkfd {

Json TextToJson(TextView text) {
    return ToUtf8(text);
}

Json VariantToJson(const Variant& value) {
    if (value.IsEmpty()) return nullptr;
    if (value.IsInteger()) return value.AsInteger();
    return ToUtf8(value.AsText());
}

std::string MemberName(TextView name) {
    std::string member = ToUtf8(name);
    for (std::size_t i = 0; i < member.size(); ++i) {
        const auto isUpper = [&](std::size_t at) {
            return at < member.size() && member[at] >= 'A' && member[at] <= 'Z';
        };
        if (!isUpper(i)) break;
        // The last capital of several begins the next word, unless the name ends with it.
        if (i > 0 && i + 1 < member.size() && !isUpper(i + 1)) break;
        member[i] = static_cast<char>(member[i] - 'A' + 'a');
    }
    return member;
}

void PrintJson(std::ostream& out, const Json& document) {
    out << document.dump(2) << '\n';
}

}  // namespace bkfd
