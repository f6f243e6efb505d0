#pragma once

#include <cstdint>
#include <span>

namespace bkfd {

/// Random access to bytes, such as an open file; what the parsers of binary formats read from.
class ByteSource {
  public:
    virtual ~ByteSource() = default;

    virtual std::uint64_t Size() = 0;
    /// Fills the whole buffer from `offset`; false if that isn't possible.
    virtual bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) = 0;
};

}  // namespace bkfd
