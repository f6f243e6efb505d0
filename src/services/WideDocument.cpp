#include "services/WideDocument.h"

namespace bkfd {

Text WideDocument(TextView text) {
    Text bytes = u"\u00FF\u00FE";
    bytes.reserve(2 + 2 * text.size());
    for (const char16_t unit : text) {
        bytes += static_cast<char16_t>(unit & 0xFF);
        bytes += static_cast<char16_t>(unit >> 8);
    }
    return bytes;
}

}  // namespace bkfd
