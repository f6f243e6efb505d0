#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <span>
#include <string>

#include "platform/files/HostFiles.h"

namespace bkfd {

/// A file of this computer, mapped into memory: pages are read when they are looked at, and changes
/// to the bytes stay in memory. A page that the disk doesn't give, or that is behind the end of a
/// file which somebody has cut, becomes zeros, and `HasFailed` tells of it.
class MappedFile {
  public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    MappedFile(MappedFile&& other) noexcept { *this = std::move(other); }
    MappedFile& operator=(MappedFile&& other) noexcept;

    /// Maps a regular file. `size`, if larger than the file, is how many bytes there are, zeros
    /// behind the file's end. False leaves errno, EINVAL for what is no regular file.
    bool Open(const std::string& path, std::uint64_t size = 0);
    /// Another mapping of the same open file, without the changes to this one.
    bool OpenAgain(const MappedFile& other);

    std::span<std::uint8_t> Bytes() const { return {bytes_, size_}; }
    /// Of the file when it was opened.
    const struct stat& Facts() const { return facts_; }
    std::size_t FileSize() const { return static_cast<std::size_t>(facts_.st_size); }
    bool HasFailed() const;

  private:
    struct Watch;

    bool Map(std::size_t size);

    HostFile file_;
    struct stat facts_ {};
    std::uint8_t* bytes_ = nullptr;
    std::size_t size_ = 0;
    Watch* watch_ = nullptr;  // where a disk error is noted
};

}  // namespace bkfd
