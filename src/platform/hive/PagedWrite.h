#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "formats/LittleEndian.h"
#include "platform/files/HostFiles.h"

/// Files that are changed in place, page by page, and what tells one content from another.
namespace bkfd {

inline constexpr std::size_t kFilePage = 4096;
inline constexpr std::size_t kFileSector = 512;

using Sha256 = std::array<std::uint8_t, 32>;
/// Contents by the number of the page; the last page of a file may be shorter.
using FilePages = std::map<std::uint64_t, Bytes>;

/// What a file held before a write that broke off, for who reads it and may not put it back.
struct FormerFile {
    FilePages pages;  // in place of the file's own
    std::uint64_t size = 0;
};
using FormerFiles = std::map<std::string, FormerFile>;  // by their paths on the host

/// Tells one content of those pages in a file of that size from another.
Sha256 HashPages(const FilePages& pages, std::uint64_t size);
Sha256 HashBytes(ByteView bytes);

/// Fills the buffer; false for an error or the end of the file, with errno 0 for the latter.
bool ReadAt(int file, std::uint64_t at, std::span<std::uint8_t> buffer);
/// The pages of those numbers as they are in a file of that size, empty behind its end; nothing for
/// an error.
std::optional<FilePages> ReadPages(int file, const FilePages& numbers, std::uint64_t size);

/// The base block of a hive as Windows leaves it while it writes: the first sequence number runs
/// ahead of the second.
Bytes MarkedAsDirty(ByteView baseBlock);

/// Writes pages in place, each step on the disk before the next: pages behind the file's end, the
/// mark of a hive (none for other files: empty), the pages, page 0, and the file's size. What was
/// written is read again and compared.
Status WritePages(int file, const FilePages& pages, ByteView mark, std::uint64_t size);

/// Opens a regular file by a path below a folder, "a/b"; no part of it may be a link or lead up.
HostFile OpenBelow(const std::string& folder, const std::string& path, int flags);

}  // namespace bkfd
