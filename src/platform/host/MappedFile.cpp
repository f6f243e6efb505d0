#include "platform/host/MappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

constexpr int kAccess = PROT_READ | PROT_WRITE;

/// Maps an open file to the start of room that is large enough.
bool MapFile(int file, std::size_t fileSize, std::uint8_t* room) {
    if (fileSize == 0) return true;
    return mmap(room, fileSize, kAccess, MAP_PRIVATE | MAP_FIXED | MAP_NORESERVE, file, 0) !=
           MAP_FAILED;
}

}  // namespace

MappedFile::~MappedFile() {
    if (bytes_ != nullptr) munmap(bytes_, size_);
}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    std::swap(size_, other.size_);
    return *this;
}

bool MappedFile::Open(const std::string& path, std::uint64_t size) {
    *this = MappedFile();
    // Not blocked by a pipe that nobody writes to.
    const HostFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat facts {};
    if (!file.IsOpen() || fstat(file.Get(), &facts) != 0) return false;
    if (!S_ISREG(facts.st_mode)) {
        errno = S_ISDIR(facts.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    const auto fileSize = static_cast<std::size_t>(facts.st_size);
    const std::size_t wanted = std::max<std::size_t>(fileSize, size);
    if (wanted == 0) return true;
    // The room first, since a mapping can't be read behind the last page of its file.
    void* const room =
        mmap(nullptr, wanted, kAccess, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) return false;
    bytes_ = static_cast<std::uint8_t*>(room);
    size_ = wanted;
    return MapFile(file.Get(), fileSize, bytes_);
}

}  // namespace bkfd
