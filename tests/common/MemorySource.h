#pragma once

#include <algorithm>

#include "base/Text.h"
#include "formats/ByteSource.h"

namespace bkfd {

/// A file that lies in memory.
class MemorySource : public ByteSource {
  public:
    explicit MemorySource(Bytes bytes) : bytes_(std::move(bytes)) {}

    std::uint64_t Size() override { return bytes_.size(); }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        bytesRead_ += buffer.size();
        if (offset > bytes_.size() || buffer.size() > bytes_.size() - offset) return false;
        std::ranges::copy(std::span(bytes_).subspan(offset, buffer.size()), buffer.begin());
        return true;
    }
    std::uint64_t BytesRead() const { return bytesRead_; }

  private:
    Bytes bytes_;
    std::uint64_t bytesRead_ = 0;
};

/// Reads the bytes from their start to their end.
inline auto MemoryReader(Bytes bytes) {
    return
        [bytes = std::move(bytes), done = std::size_t{0}](std::span<std::uint8_t> buffer) mutable {
            const std::size_t count = std::min(buffer.size(), bytes.size() - done);
            std::ranges::copy(std::span(bytes).subspan(done, count), buffer.begin());
            done += count;
            return count;
        };
}

}  // namespace bkfd
