#include "platform/image/ImageJson.h"

#include <cstdint>

#include "base/Surrogates.h"

namespace bkfd {
namespace {

constexpr char32_t kPrivateArea = 0x10F800;

/// U+10F800 to U+10FFFF are the pairs of these high surrogates.
bool IsPrivateAreaHigh(char16_t unit) {
    return unit == 0xDBFE || unit == 0xDBFF;
}

}  // namespace

bool IsUint32(const ImageJson& value) {
    return value.is_number_integer() && value >= 0 && value <= std::uint64_t{UINT32_MAX};
}

std::string ToImageJson(TextView text) {
    Text out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsSurrogate(text[i])) {
            out.push_back(text[i]);
        } else if (IsPairAt(text, i) && !IsPrivateAreaHigh(text[i])) {
            out.append(text.substr(i++, 2));
        } else {
            AppendCharacter(out, kPrivateArea + (text[i] - 0xD800));
        }
    }
    return ToUtf8(out);
}

Text FromImageJson(const std::string& utf8) {
    const Text text = FromUtf8(utf8);
    Text out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t character = NextCharacter(text, position);
        AppendCharacter(out, character < kPrivateArea
                                 ? character
                                 : 0xD800 + (character - kPrivateArea) % 0x800);
    }
    return out;
}

}  // namespace bkfd
