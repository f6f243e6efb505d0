#include "identity/PortableSha256.h"

#include <algorithm>
#include <bit>

namespace bkfd {
namespace {

constexpr std::size_t kRounds = 64;
constexpr std::uint32_t kConstants[kRounds] = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

std::uint32_t Mixed(std::uint32_t x, int a, int b, int c) {
    return std::rotr(x, a) ^ std::rotr(x, b) ^ std::rotr(x, c);
}

/// The last step shifts instead of turning.
std::uint32_t Spread(std::uint32_t x, int a, int b, int shift) {
    return std::rotr(x, a) ^ std::rotr(x, b) ^ (x >> shift);
}

std::array<std::uint32_t, kRounds> Schedule(std::span<const std::uint8_t> block) {
    std::array<std::uint32_t, kRounds> words{};
    for (std::size_t i = 0; i < block.size(); ++i) {
        words[i / 4] = words[i / 4] << 8 | block[i];
    }
    for (std::size_t i = block.size() / 4; i < kRounds; ++i) {
        words[i] = Spread(words[i - 2], 17, 19, 10) + words[i - 7] +
                   Spread(words[i - 15], 7, 18, 3) + words[i - 16];
    }
    return words;
}

}  // namespace

void PortableSha256::Take(std::span<const std::uint8_t, kBlock> block) {
    const auto words = Schedule(block);
    auto [a, b, c, d, e, f, g, h] = state_;
    for (std::size_t i = 0; i < kRounds; ++i) {
        const std::uint32_t one =
            h + Mixed(e, 6, 11, 25) + ((e & f) ^ (~e & g)) + kConstants[i] + words[i];
        const std::uint32_t two = Mixed(a, 2, 13, 22) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + one;
        d = c;
        c = b;
        b = a;
        a = one + two;
    }
    const std::array after = {a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state_.size(); ++i) state_[i] += after[i];
}

void PortableSha256::Add(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const std::size_t used = length_ % kBlock;
        const std::size_t count = std::min(bytes.size(), kBlock - used);
        std::ranges::copy(bytes.first(count), pending_.begin() + static_cast<std::ptrdiff_t>(used));
        bytes = bytes.subspan(count);
        length_ += count;
        if (used + count == kBlock) Take(pending_);
    }
}

std::array<std::uint8_t, 32> PortableSha256::Finish() {
    const std::uint64_t bits = length_ * 8;
    constexpr std::size_t kLengthAt = kBlock - sizeof bits;
    std::array<std::uint8_t, kBlock> padding{0x80};
    const std::size_t used = length_ % kBlock;
    Add(std::span(padding).first((used < kLengthAt ? kLengthAt : kBlock + kLengthAt) - used));
    std::array<std::uint8_t, sizeof bits> length;
    for (std::size_t i = 0; i < length.size(); ++i) {
        length[i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
    }
    Add(length);
    std::array<std::uint8_t, 32> hash;
    for (std::size_t i = 0; i < hash.size(); ++i) {
        hash[i] = static_cast<std::uint8_t>(state_[i / 4] >> (24 - 8 * (i % 4)));
    }
    return hash;
}

}  // namespace bkfd
