#include "cli/Json.h"

#include <nlohmann/json.hpp>
#include <ostream>

namespace bkfd {

Json TextToJson(TextView text) {
    return ToUtf8(text);
}

void PrintJson(std::ostream& out, const Json& document) {
    out << document.dump(2) << '\n';
}

}  // namespace bkfd
