#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace bkfd {

/// A file of this computer, mapped into memory: pages are read when they are looked at, and changes
/// to the bytes stay in memory.
class MappedFile {
  public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(MappedFile&& other) noexcept { *this = std::move(other); }
    MappedFile& operator=(MappedFile&& other) noexcept;

    /// Maps a regular file. `size`, if larger than the file, is how many bytes there are, zeros
    /// behind the file's end. False leaves errno, EINVAL for what is no regular file.
    bool Open(const std::string& path, std::uint64_t size = 0);

    std::span<std::uint8_t> Bytes() const { return {bytes_, size_}; }

  private:
    std::uint8_t* bytes_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace bkfd
