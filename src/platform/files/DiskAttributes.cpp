#include "platform/files/DiskAttributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>

#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

constexpr const char* kNtfsAttributes = "system.ntfs_attrib_be";
constexpr const char* kNtfsShortName = "system.ntfs_dos_name";
constexpr const char* kDosAttributes = "user.DOSATTRIB";
constexpr std::uint32_t kSettable = FileAttribute::ReadOnly | FileAttribute::Hidden |
                                    FileAttribute::System | FileAttribute::Archive;
constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;

std::optional<std::string> ReadExtended(const std::string& path, const char* name) {
    char room[256];
    const ssize_t count = lgetxattr(path.c_str(), name, room, sizeof room);
    if (count < 0) return std::nullopt;
    return std::string(room, static_cast<std::size_t>(count));
}

/// Most significant byte first.
std::optional<std::uint32_t> ReadNtfs(const std::string& path) {
    const auto bytes = ReadExtended(path, kNtfsAttributes);
    if (!bytes || bytes->size() != 4) return std::nullopt;
    std::uint32_t number = 0;
    for (const char byte : *bytes) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

/// "0x20", with a NUL and a newer form of the same behind it in some versions of Samba.
std::optional<std::uint32_t> ReadDosText(const std::string& path) {
    const auto bytes = ReadExtended(path, kDosAttributes);
    if (!bytes || !bytes->starts_with("0x")) return std::nullopt;
    std::uint32_t number = 0;
    const char* end = bytes->data() + bytes->size();
    const auto read = std::from_chars(bytes->data() + 2, end, number, 16);
    if (read.ec != std::errc() || (read.ptr != end && *read.ptr != '\0')) return std::nullopt;
    return number;
}

std::uint32_t OfModeAndName(mode_t mode, const std::string& path) {
    std::uint32_t attributes = S_ISDIR(mode) ? 0 : FileAttribute::Archive;
    if ((mode & kWriteBits) == 0) attributes |= FileAttribute::ReadOnly;
    if (path[path.rfind('/') + 1] == '.') attributes |= FileAttribute::Hidden;
    return attributes;
}

Status WriteNtfs(const std::string& path, std::uint32_t attributes) {
    char bytes[4];
    for (char& byte : bytes) {
        byte = static_cast<char>(attributes >> 24);
        attributes <<= 8;
    }
    if (lsetxattr(path.c_str(), kNtfsAttributes, bytes, sizeof bytes, 0) != 0) {
        return StatusOfErrno(errno);
    }
    return {};
}

/// The mode tells what it can, the extended attribute is there only for what it can't.
Status WriteModeAndText(const std::string& path, mode_t mode, std::uint32_t attributes) {
    const bool isReadOnly = (attributes & FileAttribute::ReadOnly) != 0;
    const mode_t wanted = isReadOnly                 ? mode & ~kWriteBits
                          : (mode & kWriteBits) == 0 ? mode | S_IWUSR
                                                     : mode;
    if (wanted != mode && chmod(path.c_str(), wanted & 07777) != 0) return StatusOfErrno(errno);
    if (OfModeAndName(wanted, path) == attributes) {
        const int removed = lremovexattr(path.c_str(), kDosAttributes);
        return removed != 0 && errno != ENODATA && errno != ENOTSUP ? StatusOfErrno(errno)
                                                                    : Status{};
    }
    char text[16];
    const int length = std::snprintf(text, sizeof text, "0x%x", attributes);
    if (lsetxattr(path.c_str(), kDosAttributes, text, static_cast<std::size_t>(length), 0) != 0) {
        return StatusOfErrno(errno);
    }
    return {};
}

Status SyncFile(const std::string& path) {
    const HostFile file(OpenUntouched(path, 0));
    if (!file.IsOpen()) return errno == EACCES ? Status{} : StatusOfErrno(errno);
    return fsync(file.Get()) == 0 ? Status{} : StatusOfErrno(errno);
}

}  // namespace

Result<std::uint32_t> ReadDosAttributes(const std::string& path) {
    struct stat facts {};
    if (lstat(path.c_str(), &facts) != 0) return StatusOfErrno(errno);
    std::uint32_t attributes = 0;
    if (const auto ntfs = ReadNtfs(path)) {
        attributes = *ntfs;
    } else if (const auto text = ReadDosText(path)) {
        const bool isReadOnly = (facts.st_mode & kWriteBits) == 0;
        attributes = *text | (isReadOnly ? FileAttribute::ReadOnly : 0);
    } else {
        attributes = OfModeAndName(facts.st_mode, path);
    }
    if (S_ISDIR(facts.st_mode)) attributes |= FileAttribute::Directory;
    return attributes;
}

Status WriteDosAttributes(const std::string& path, std::uint32_t attributes) {
    struct stat facts {};
    if (lstat(path.c_str(), &facts) != 0) return StatusOfErrno(errno);
    attributes &= kSettable;
    const auto ntfs = ReadNtfs(path);
    const Status written = ntfs ? WriteNtfs(path, (*ntfs & ~kSettable) | attributes)
                                : WriteModeAndText(path, facts.st_mode, attributes);
    return written.IsOk() ? SyncFile(path) : written;
}

std::optional<Text> ReadShortName(const std::string& path) {
    const auto name = ReadExtended(path, kNtfsShortName);
    if (!name || name->empty()) return std::nullopt;
    return FromHostName(*name);
}

bool KeepsStream(const std::string& path, TextView name) {
    const std::string attribute = "user." + ToHostName(name);
    return lgetxattr(path.c_str(), attribute.c_str(), nullptr, 0) >= 0;
}

}  // namespace bkfd
