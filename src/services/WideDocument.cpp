#include "services/WideDocument.h"

namespace bkfd {

Text WideDocument(TextView text) {
    Text bytes;
    bytes.reserve(2 + 2 * text.size());
    bytes += u"\u00FF\u00FE";
    for (const char16_t unit : text) {
        bytes += static_cast<char16_t>(unit & 0xFF);
        bytes += static_cast<char16_t>(unit >> 8);
    }
    return bytes;
}

}  // namespace bkfd
