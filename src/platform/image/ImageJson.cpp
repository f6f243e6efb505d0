#include "platform/image/ImageJson.h"

#include <cstdint>

namespace bkfd {
namespace {

constexpr char32_t kPrivateArea = 0x10F800;

bool IsSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

/// U+10F800 to U+10FFFF are the pairs of these high surrogates.
bool IsPrivateAreaHigh(char16_t unit) {
    return unit == 0xDBFE || unit == 0xDBFF;
}

bool IsPair(TextView text, std::size_t i) {
    return text[i] <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
           text[i + 1] <= 0xDFFF;
}

void AppendPoint(Text& out, char32_t point) {
    out.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
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
        } else if (IsPair(text, i) && !IsPrivateAreaHigh(text[i])) {
            out.append(text.substr(i++, 2));
        } else {
            AppendPoint(out, kPrivateArea + (text[i] - 0xD800));
        }
    }
    return ToUtf8(out);
}

Text FromImageJson(const std::string& utf8) {
    const Text text = FromUtf8(utf8);
    Text out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsSurrogate(text[i]) || !IsPair(text, i) || !IsPrivateAreaHigh(text[i])) {
            out.push_back(text[i]);
            continue;
        }
        const auto point =
            static_cast<char32_t>(0x10000 + ((text[i] - 0xD800) << 10) + (text[i + 1] - 0xDC00));
        out.push_back(static_cast<char16_t>(0xD800 + (point - kPrivateArea) % 0x800));
        ++i;
    }
    return out;
}

}  // namespace bkfd
