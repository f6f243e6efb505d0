#pragma once

#include <cstdint>
#include <string>

namespace bkfd {

/// A number over what a code page makes of each character of the basic plane behind ASCII.
/// `encode` gives the bytes of one character.
template <class Encode>
std::uint32_t DigestOfCodePage(Encode encode) {
    std::uint32_t digest = 2'166'136'261;  // FNV-1a
    const auto add = [&digest](std::uint8_t added) { digest = (digest ^ added) * 16'777'619; };
    for (std::uint32_t unit = 0x80; unit < 0x1'0000; ++unit) {
        if (unit >= 0xD800 && unit < 0xE000) continue;
        const std::string bytes = encode(static_cast<char16_t>(unit));
        for (const char byte : bytes) add(static_cast<std::uint8_t>(byte));
        add(0);
    }
    return digest;
}

/// Of Windows' pages, as WideCharToMultiByte has them without flags.
inline constexpr struct {
    std::uint32_t page;
    std::uint32_t digest;
} kCodePageDigests[] = {
    {874, 0xCB14083C},  {932, 0xDBD2734E},  {936, 0xC018BAE4},  {949, 0x220B93B6},
    {950, 0x6E3E25F3},  {1250, 0xACB94970}, {1251, 0x10FAFB75}, {1252, 0x2CEB0CB9},
    {1253, 0x59572ED5}, {1254, 0xF149CDFB}, {1255, 0x77841C58}, {1256, 0x07CF0383},
    {1257, 0x0D83DC52}, {1258, 0x9EDF157A},
};

}  // namespace bkfd
