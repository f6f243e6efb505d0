#include "formats/Base64.h"

#include <array>

namespace bkfd {
namespace {

constexpr std::u16string_view kAlphabet =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each digit by its character.
constexpr auto kDigits = [] {
    std::array<std::uint8_t, 128> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits[kAlphabet[i]] = static_cast<std::uint8_t>(i);
    }
    return digits;
}();

}  // namespace

Text EncodeBase64(std::span<const std::uint8_t> bytes) {
    Text out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) group = (group << 8) | (k < count ? bytes[i + k] : 0U);
        for (std::size_t k = 0; k < 4; ++k) {
            out += k <= count ? kAlphabet[(group >> (18 - 6 * k)) & 0x3F] : u'=';
        }
    }
    return out;
}

std::optional<Bytes> DecodeBase64(TextView text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == u'=') {
        ++padding;
    }
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isPadding = i >= text.size() - padding;
        const std::uint8_t digit = isPadding                  ? 0
                                   : text[i] < kDigits.size() ? kDigits[text[i]]
                                                              : kNoDigit;
        if (digit == kNoDigit) return std::nullopt;
        bits = (bits << 6) | digit;
        if (i % 4 == 3) {
            for (int shift = 16; shift >= 0; shift -= 8) {
                bytes.push_back(static_cast<std::uint8_t>(bits >> shift));
            }
            bits = 0;
        }
    }
    for (; padding > 0; --padding) {
        if (bytes.back() != 0) return std::nullopt;
        bytes.pop_back();
    }
    return bytes;
}

}  // namespace bkfd
