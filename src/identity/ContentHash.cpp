#include "identity/ContentHash.h"

#include <array>
#include <cstddef>

namespace bkfd {
namespace {

// The fast form keeps the hash already turned for the next byte, so that a step is: add, then turn
// right by one. That is linear: seen from a frame that turns with it, a block of n bytes adds the
// sum of byte i times 2^i, and then all turns right by n. What isn't linear is the byte that is
// skipped on overflow. The sum of a block is below 2^(n+8), so at most one carry reaches the bits
// from n+8 on, and no byte of the block can overflow unless all of those bits are ones. Blocks that
// begin with such a hash, one in 128 of 16 bytes, go by smaller blocks or by single bytes.

constexpr std::uint32_t kMax = 0x7FFFFFFF;

constexpr std::uint32_t RotateRight(std::uint32_t hash, unsigned count) {
    return (hash >> count) | ((hash << (31 - count)) & kMax);
}

/// Whether no byte of a block of `count` can be skipped.
template <unsigned count>
constexpr bool CannotOverflow(std::uint32_t turned) {
    constexpr std::uint32_t kUpperBits = kMax & ~((1U << (count + 8)) - 1);
    return (turned & kUpperBits) != kUpperBits;
}

std::uint64_t LoadLittleEndian(const std::uint8_t* bytes) {
    std::uint64_t word = 0;
    for (unsigned i = 0; i < 8; ++i) word |= std::uint64_t{bytes[i]} << (8 * i);
    return word;
}

/// The sum of byte i times 2^i over 8 bytes: first within pairs, in four lanes of 16 bits that
/// can't overflow (765 * 85 is below 65536), then over the lanes, into the uppermost one.
std::uint32_t WeightedSum8(const std::uint8_t* bytes) {
    constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
    constexpr std::uint64_t kLaneWeights = 0x0001'0004'0010'0040;
    const std::uint64_t word = LoadLittleEndian(bytes);
    const std::uint64_t pairs = (word & kEvenBytes) + 2 * ((word >> 8) & kEvenBytes);
    return static_cast<std::uint32_t>((pairs * kLaneWeights) >> 48);
}

constexpr std::size_t kStride = 64;
using WeightedSums = std::array<std::uint32_t, kStride / 16>;

/// The weighted sums of the four 16-byte blocks of a stride. They don't depend on the hash, so they
/// are worked out while the hash still waits for the blocks before.
WeightedSums WeightedSums16(const std::uint8_t* bytes) {
    WeightedSums sums;
    for (std::uint32_t& sum : sums) {
        sum = WeightedSum8(bytes) + (WeightedSum8(bytes + 8) << 8);
        bytes += 16;
    }
    return sums;
}

std::uint32_t AddBytes(std::uint32_t turned, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        const std::uint32_t sum = turned + byte;
        if (sum <= kMax) turned = RotateRight(sum, 1);
    }
    return turned;
}

std::uint32_t Add8(std::uint32_t turned, const std::uint8_t* bytes) {
    if (!CannotOverflow<8>(turned)) return AddBytes(turned, {bytes, 8});
    return RotateRight(turned + WeightedSum8(bytes), 8);
}

std::uint32_t AddStride(std::uint32_t turned, const std::uint8_t* bytes) {
    for (const std::uint32_t sum : WeightedSums16(bytes)) {
        if (CannotOverflow<16>(turned)) [[likely]] {
            turned = RotateRight(turned + sum, 16);
        } else {
            turned = Add8(Add8(turned, bytes), bytes + 8);
        }
        bytes += 16;
    }
    return turned;
}

}  // namespace

std::int32_t ContentHash(std::span<const std::uint8_t> bytes) {
    std::uint32_t turned = 0;
    std::size_t done = 0;
    for (; bytes.size() - done >= kStride; done += kStride) {
        if (turned == kMax) return kMax;  // nothing changes it any more
        turned = AddStride(turned, bytes.data() + done);
    }
    return static_cast<std::int32_t>(RotateRight(AddBytes(turned, bytes.subspan(done)), 30));
}

std::int32_t ContentHashByteLoop(std::span<const std::uint8_t> bytes) {
    std::uint32_t hash = 0;
    for (const std::uint8_t byte : bytes) {
        const std::uint32_t sum = RotateRight(hash, 1) + byte;
        if (sum <= kMax) hash = sum;
    }
    return static_cast<std::int32_t>(hash);
}

}  // namespace bkfd
