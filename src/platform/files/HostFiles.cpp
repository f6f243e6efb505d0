#include "platform/files/HostFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <tuple>

#include "base/Surrogates.h"

namespace bkfd {
namespace {

constexpr const char* kBeside = ".bkfd-new";

WritePointHook& Hook() {
    static WritePointHook hook;
    return hook;
}

struct ErrnoRow {
    int error;
    std::uint32_t code;
};

constexpr ErrnoRow kErrnoRows[] = {
    {ENOENT, SystemError::FileNotFound},
    {ENOTDIR, SystemError::PathNotFound},
    {ELOOP, SystemError::FileNotFound},
    {EACCES, SystemError::AccessDenied},
    {EPERM, SystemError::AccessDenied},
    {EISDIR, SystemError::AccessDenied},
    {EROFS, SystemError::WriteProtect},
    {ENOSPC, SystemError::DiskFull},
    {EDQUOT, SystemError::DiskFull},
    {EFBIG, SystemError::DiskFull},
    {EEXIST, SystemError::AlreadyExists},
    {ENOTEMPTY, SystemError::AccessDenied},
    {ENAMETOOLONG, SystemError::FilenameTooLong},
    {EINVAL, SystemError::InvalidParameter},
    {ENOMEM, SystemError::NotEnoughMemory},
    {EMFILE, SystemError::NotEnoughMemory},
    {ENFILE, SystemError::NotEnoughMemory},
};

constexpr char16_t kByteBase = 0xDC00;

bool StandsForByte(char16_t unit) {
    return unit >= kByteBase + 0x80 && unit <= kByteBase + 0xFF;
}

/// The character at the start of `name`, with the count of its bytes; none for a byte without one.
std::pair<Text, std::size_t> FirstCharacter(std::string_view name) {
    constexpr std::size_t kPairLength = 4;
    for (std::size_t length = 1; length <= std::min(kPairLength, name.size()); ++length) {
        Text character = FromWtf8(name.substr(0, length));
        const bool isOne = length == kPairLength
                               ? character.size() == 2 && IsHighSurrogate(character[0])
                               : character.size() == 1 && !StandsForByte(character[0]);
        if (isOne && ToWtf8(character) == name.substr(0, length)) {
            return {std::move(character), length};
        }
    }
    return {};
}

/// Those of the file that is to be replaced, as far as the user may give them.
void KeepOwnerAndMode(const std::string& path, const HostFile& file) {
    struct stat old {};
    if (stat(path.c_str(), &old) != 0) return;
    // Some builds of the C library don't take (void) for an answer.
    std::ignore = fchown(file.Get(), old.st_uid, old.st_gid);
    std::ignore = fchmod(file.Get(), old.st_mode & 0777);
}

}  // namespace

Text FromHostName(std::string_view name) {
    Text text;
    while (!name.empty()) {
        const auto [character, length] = FirstCharacter(name);
        text +=
            length > 0
                ? character
                : Text(1, static_cast<char16_t>(kByteBase + static_cast<unsigned char>(name[0])));
        name.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

std::string ToHostName(TextView text) {
    std::string name;
    std::size_t done = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isPaired = i > done && IsHighSurrogate(text[i - 1]);
        if (!StandsForByte(text[i]) || isPaired) continue;
        name += ToWtf8(text.substr(done, i - done));
        name += static_cast<char>(text[i] - kByteBase);
        done = i + 1;
    }
    return name + ToWtf8(text.substr(done));
}

void HostFile::Close() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
}

void SetWritePointHook(WritePointHook hook) {
    Hook() = std::move(hook);
}

void ReachWritePoint(const char* step) {
    if (Hook()) Hook()(step);
}

Date ToLocalDate(const timespec& time) {
    tm local{};
    localtime_r(&time.tv_sec, &local);
    return ToDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                   local.tm_min, local.tm_sec, static_cast<int>(time.tv_nsec / 1'000'000)});
}

Status StatusOfErrno(int error) {
    for (const ErrnoRow& row : kErrnoRows) {
        if (row.error == error) return {row.code};
    }
    return {SystemError::IoDevice};
}

// Only a file's owner may ask for that.
int OpenUntouched(const std::string& path, int flags) {
    const int all = O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags;
    const int opened = open(path.c_str(), all | O_NOATIME);
    return opened < 0 && errno == EPERM ? open(path.c_str(), all) : opened;
}

DIR* OpenFolderUntouched(const std::string& path) {
    const int opened = OpenUntouched(path, O_DIRECTORY);
    if (opened < 0) return nullptr;
    DIR* folder = fdopendir(opened);
    if (folder == nullptr) close(opened);
    return folder;
}

std::optional<std::string> ReadHostFile(const std::string& path) {
    const HostFile file(OpenUntouched(path, 0));
    struct stat facts {};
    if (!file.IsOpen() || fstat(file.Get(), &facts) != 0) return std::nullopt;
    // A pipe or a device may never come to its end.
    if (!S_ISREG(facts.st_mode)) {
        errno = EISDIR;
        return std::nullopt;
    }
    std::string content;
    char room[65'536];
    for (;;) {
        const ssize_t count = read(file.Get(), room, sizeof room);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return content;
        content.append(room, static_cast<std::size_t>(count));
    }
}

Status WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return StatusOfErrno(errno);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return {};
}

Status SyncHostFolder(const std::string& path) {
    const HostFile folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.IsOpen() || fsync(folder.Get()) != 0) return StatusOfErrno(errno);
    return {};
}

std::string HostParent(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

void RemoveUnfinishedReplacement(const std::string& path) {
    unlink((path + kBeside).c_str());
}

Status ReplaceHostFile(const std::string& path, std::string_view bytes) {
    const std::string beside = path + kBeside;
    // What is there may be a link too, which nothing must be written through.
    RemoveUnfinishedReplacement(path);
    HostFile file(open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    KeepOwnerAndMode(path, file);
    ReachWritePoint("write beside");
    Status status = WriteAll(file.Get(), bytes);
    if (status.IsOk() && fsync(file.Get()) != 0) status = StatusOfErrno(errno);
    ReachWritePoint("rename over");
    if (status.IsOk() && rename(beside.c_str(), path.c_str()) != 0) status = StatusOfErrno(errno);
    if (!status.IsOk()) {
        unlink(beside.c_str());
        return status;
    }
    ReachWritePoint("renamed");
    return SyncHostFolder(HostParent(path));
}

}  // namespace bkfd
