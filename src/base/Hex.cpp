#include "base/Hex.h"

namespace bkfd {

void AppendHex(std::string& text, std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    const std::size_t start = text.size();
    text.resize(start + 2 * bytes.size());
    char* digit = text.data() + start;
    for (const std::uint8_t byte : bytes) {
        *digit++ = kDigits[byte >> 4];
        *digit++ = kDigits[byte & 15];
    }
}

}  // namespace bkfd
