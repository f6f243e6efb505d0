#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace bkfd {

/// SHA-256 by FIPS 180-4, for systems that have none.
class PortableSha256 {
  public:
    void Add(std::span<const std::uint8_t> bytes);
    /// Nothing may be added behind it.
    std::array<std::uint8_t, 32> Finish();

  private:
    static constexpr std::size_t kBlock = 64;

    void Take(std::span<const std::uint8_t, kBlock> block);

    std::array<std::uint32_t, 8> state_ = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                           0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
    std::array<std::uint8_t, kBlock> pending_{};  // what isn't a whole block yet
    std::uint64_t length_ = 0;                    // in bytes
};

}  // namespace bkfd
