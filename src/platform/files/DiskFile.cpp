#include "platform/files/DiskFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

namespace bkfd {
namespace {

constexpr std::string_view kUnfinished = ".bkfd-new-";
constexpr std::uint64_t kMostToKeep = 64 * 1024;

}  // namespace

bool DiskFile::IsUnfinished(std::string_view hostName) {
    if (!hostName.starts_with(kUnfinished)) return false;
    const std::string_view rest = hostName.substr(kUnfinished.size());
    return rest.find_first_not_of("0123456789-") == std::string_view::npos;
}

void DiskFile::RemoveUnfinished(const std::string& hostFolder) {
    DIR* opened = opendir(hostFolder.c_str());
    if (opened == nullptr) return;
    std::vector<std::string> names;
    while (const dirent* entry = readdir(opened)) {
        if (IsUnfinished(entry->d_name)) names.emplace_back(entry->d_name);
    }
    // One that can't be removed takes some room and is in nobody's way.
    for (const std::string& name : names) (void)unlinkat(dirfd(opened), name.c_str(), 0);
    closedir(opened);
}

Result<std::unique_ptr<OpenFile>> DiskFile::OpenToRead(const std::string& path) {
    HostFile file(OpenUntouched(path, 0));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    return std::unique_ptr<OpenFile>(
        std::make_unique<DiskFile>(std::move(file), TextView(), nullptr));
}

Result<std::unique_ptr<OpenFile>> DiskFile::OpenToAppend(const std::string& path, TextView name,
                                                         DiskFileOwner& owner) {
    HostFile file(open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    auto opened = std::make_unique<DiskFile>(std::move(file), name, &owner);
    const auto size = opened->GetFileSize();
    if (!size.IsOk()) return Status(size);
    opened->kept_ = size.value;
    return std::unique_ptr<OpenFile>(std::move(opened));
}

Result<std::unique_ptr<OpenFile>> DiskFile::Create(const std::string& path, TextView name,
                                                   DiskFileOwner& owner) {
    static unsigned counter = 0;
    const std::string beside = HostParent(path) + '/' + std::string(kUnfinished) +
                               std::to_string(getpid()) + '-' + std::to_string(++counter);
    ReachWritePoint("make file");
    HostFile file(open(beside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0666));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    auto made = std::make_unique<DiskFile>(std::move(file), name, &owner);
    made->beside_ = beside;
    made->target_ = path;
    return std::unique_ptr<OpenFile>(std::move(made));
}

DiskFile::~DiskFile() {
    if (owner_ == nullptr) return;
    if (isDirty_ || !beside_.empty()) (void)FlushFileBuffers();
    if (!beside_.empty()) unlink(beside_.c_str());
    owner_->FileSettled(*this);
}

Result<std::uint64_t> DiskFile::GetFileSize() {
    struct stat facts {};
    if (fstat(file_.Get(), &facts) != 0) return StatusOfErrno(errno);
    return static_cast<std::uint64_t>(facts.st_size);
}

Result<std::size_t> DiskFile::ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t count = pread(file_.Get(), buffer.data() + done, buffer.size() - done,
                                    static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return StatusOfErrno(errno);
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

Status DiskFile::WriteFile(std::span<const std::uint8_t> bytes) {
    if (owner_ == nullptr) return {SystemError::AccessDenied};
    isDirty_ = true;
    ReachWritePoint("write file");
    return WriteAll(file_.Get(), {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

Status DiskFile::FlushFileBuffers() {
    if (owner_ == nullptr) return {SystemError::AccessDenied};
    const auto size = GetFileSize();
    if (!size.IsOk()) return size;
    if (fsync(file_.Get()) != 0) return StatusOfErrno(errno);
    isDirty_ = false;
    kept_ = size.value;
    owner_->FileSettled(*this);
    return beside_.empty() ? Status{} : GiveName();
}

Status DiskFile::WriteBarrier() {
    if (IsKeptByOwner()) return {};
    const Status flushed = FlushFileBuffers();
    ReachWritePoint("settled");
    return flushed;
}

bool DiskFile::IsKeptByOwner() {
    const auto size = GetFileSize();
    const bool canBeKept = owner_ != nullptr && beside_.empty() && size.IsOk() &&
                           size.value >= kept_ && size.value - kept_ <= kMostToKeep;
    if (!canBeKept) return false;
    Bytes bytes(static_cast<std::size_t>(size.value - kept_));
    const auto read = ReadFile(kept_, bytes);
    if (!read.IsOk() || read.value != bytes.size()) return false;
    if (!owner_->KeepWritten(*this, kept_, bytes)) return false;
    kept_ = size.value;
    return true;
}

/// Somebody else may have taken the name meanwhile; that file stays.
Status DiskFile::GiveName() {
    ReachWritePoint("name file");
    int outcome = renameat2(AT_FDCWD, beside_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
    if (outcome != 0 && (errno == EINVAL || errno == ENOSYS)) {
        outcome = rename(beside_.c_str(), target_.c_str());
    }
    if (outcome != 0) return StatusOfErrno(errno);
    beside_.clear();
    ReachWritePoint("named");
    owner_->FileNamed(target_);
    return SyncHostFolder(HostParent(target_));
}

}  // namespace bkfd
