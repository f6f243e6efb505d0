#include "platform/hive/PagedWrite.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "formats/HiveFormat.h"

namespace bkfd {
namespace {

class Digest {
  public:
    Digest() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
        isRight_ =
            context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
    }
    void Add(ByteView bytes) {
        isRight_ = isRight_ && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1;
    }
    bool Finish(Sha256& hash) {
        unsigned length = 0;
        return isRight_ && EVP_DigestFinal_ex(context_.get(), hash.data(), &length) == 1 &&
               length == hash.size();
    }

  private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
    bool isRight_ = false;
};

Status Sync(int file, const char* step) {
    ReachWritePoint(step);
    return fsync(file) == 0 ? Status{} : StatusOfErrno(errno);
}

Status WriteAt(int file, std::uint64_t at, ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return StatusOfErrno(errno);
        at += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return {};
}

/// Those pages that the condition holds for, synced if there are any.
template <class Condition>
Status WriteThose(int file, const FilePages& pages, const char* step, Condition condition) {
    bool hasWritten = false;
    for (const auto& [number, bytes] : pages) {
        if (!condition(number * kFilePage)) continue;
        if (!hasWritten) ReachWritePoint(step);
        hasWritten = true;
        const Status written = WriteAt(file, number * kFilePage, bytes);
        if (!written.IsOk()) return written;
    }
    return hasWritten ? Sync(file, step) : Status{};
}

Status Verify(int file, const FilePages& pages, std::uint64_t size) {
    Bytes read;
    for (const auto& [number, bytes] : pages) {
        // What the cache holds would prove nothing.
        (void)posix_fadvise(file, static_cast<off_t>(number * kFilePage), kFilePage,
                            POSIX_FADV_DONTNEED);
        read.resize(bytes.size());
        if (!ReadAt(file, number * kFilePage, read) || read != bytes) {
            return {SystemError::IoDevice};
        }
    }
    struct stat facts {};
    if (fstat(file, &facts) != 0) return StatusOfErrno(errno);
    return {static_cast<std::uint64_t>(facts.st_size) == size ? SystemError::Success
                                                              : SystemError::IoDevice};
}

}  // namespace

Sha256 HashPages(const FilePages& pages, std::uint64_t size) {
    Digest digest;
    const auto add = [&](std::uint64_t number) {
        std::array<std::uint8_t, 8> bytes{};
        Write64(bytes, 0, number);
        digest.Add(bytes);
    };
    add(size);
    for (const auto& [number, bytes] : pages) {
        add(number);
        add(bytes.size());
        digest.Add(bytes);
    }
    Sha256 hash{};
    (void)digest.Finish(hash);
    return hash;
}

Sha256 HashBytes(ByteView bytes) {
    Digest digest;
    Sha256 hash{};
    digest.Add(bytes);
    (void)digest.Finish(hash);
    return hash;
}

bool ReadAt(int file, std::uint64_t at, std::span<std::uint8_t> buffer) {
    while (!buffer.empty()) {
        const ssize_t count = pread(file, buffer.data(), buffer.size(), static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) errno = 0;
        if (count <= 0) return false;
        at += static_cast<std::uint64_t>(count);
        buffer = buffer.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

std::optional<FilePages> ReadPages(int file, const FilePages& numbers, std::uint64_t size) {
    FilePages pages;
    for (const auto& [number, ignored] : numbers) {
        const std::uint64_t at = number * kFilePage;
        Bytes& page = pages[number];
        if (at >= size) continue;
        page.resize(std::min<std::uint64_t>(kFilePage, size - at));
        if (!ReadAt(file, at, page)) return std::nullopt;
    }
    return pages;
}

Bytes MarkedAsDirty(ByteView baseBlock) {
    const ByteView used = baseBlock.first(hive::kBaseBlockUsed);
    Bytes mark(used.begin(), used.end());
    Write32(mark, 4, Read32(mark, 8) + 1);
    Write32(mark, hive::kChecksumAt, HiveChecksum(mark));
    return mark;
}

Status WritePages(int file, const FilePages& pages, ByteView mark, std::uint64_t size) {
    struct stat facts {};
    if (fstat(file, &facts) != 0) return StatusOfErrno(errno);
    const auto former = static_cast<std::uint64_t>(facts.st_size);
    // If the disk is full, nothing has changed yet that counts.
    Status status = WriteThose(file, pages, "grow", [&](auto at) { return at >= former; });
    if (!status.IsOk()) return status;
    if (!mark.empty()) {
        ReachWritePoint("mark as dirty");
        status = WriteAt(file, 0, mark);
        if (status.IsOk()) status = Sync(file, "sync the mark");
        if (!status.IsOk()) return status;
    }
    status = WriteThose(file, pages, "pages", [&](auto at) { return at > 0 && at < former; });
    if (status.IsOk()) {
        status =
            WriteThose(file, pages, "first page", [&](auto at) { return at == 0 && former > 0; });
    }
    if (!status.IsOk()) return status;
    if (fstat(file, &facts) != 0) return StatusOfErrno(errno);
    if (static_cast<std::uint64_t>(facts.st_size) != size) {
        ReachWritePoint("cut");
        if (ftruncate(file, static_cast<off_t>(size)) != 0) return StatusOfErrno(errno);
        status = Sync(file, "sync the size");
        if (!status.IsOk()) return status;
    }
    return Verify(file, pages, size);
}

HostFile OpenBelow(const std::string& folder, const std::string& path, int flags) {
    HostFile at(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::size_t start = 0;
    while (at.IsOpen()) {
        const std::size_t end = path.find('/', start);
        const std::string name = path.substr(start, end - start);
        errno = EINVAL;
        if (name.empty() || name == "." || name == "..") return {};
        const bool isLast = end == std::string::npos;
        const int how = isLast ? flags | O_NONBLOCK : O_RDONLY | O_DIRECTORY;
        at = HostFile(openat(at.Get(), name.c_str(), how | O_NOFOLLOW | O_CLOEXEC));
        if (isLast) break;
        start = end + 1;
    }
    struct stat facts {};
    if (!at.IsOpen() || fstat(at.Get(), &facts) != 0) return {};
    if (S_ISREG(facts.st_mode)) return at;
    errno = EINVAL;
    return {};
}

}  // namespace bkfd
