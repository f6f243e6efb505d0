#include "services/FileUtil.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "platform/Machine.h"
#include "services/SysUtil.h"

namespace bkfd::FileUtil {
namespace {

constexpr std::uint64_t kLargestFile = 0x7FFFFFFF;  // what fits into one array
constexpr int kTemporaryNameTries = 100;
constexpr std::size_t kPiece = 256 * 1024;

[[noreturn]] void Fail(ErrorNumber number, const Text& path, Status status) {
    throw RuntimeError(number, RuntimeError(number).Description() + u": '" + path + u"': " +
                                   SysUtil::SystemErrorText(status.code));
}

void Check(const Text& path, Status status) {
    if (!status.IsOk()) Fail(ErrorNumber::PathFileAccess, path, status);
}

bool IsFolder(const Text& path) {
    const auto attributes = TheMachine().FileSystem().GetFileAttributesW(path);
    return attributes.IsOk() && (attributes.value & FileAttribute::Directory) != 0;
}

Result<Bytes> ReadWhole(const Text& path) {
    const auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return Status(file);
    const auto size = file.value->GetFileSize();
    if (!size.IsOk()) return Status(size);
    if (size.value > kLargestFile) return Status{SystemError::NotEnoughMemory};

    Bytes bytes(static_cast<std::size_t>(size.value));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const auto part = file.value->ReadFile(done, std::span(bytes).subspan(done));
        if (!part.IsOk()) return Status(part);
        if (part.value == 0) break;
        done += part.value;
    }
    bytes.resize(done);
    return bytes;
}

/// A new file in the folder of another one; it goes with the object unless it was moved away.
class TemporaryFile {
  public:
    explicit TemporaryFile(const Text& neighbour) {
        const Text folder =
            Left(neighbour, static_cast<std::ptrdiff_t>(
                                std::max(FindLast(neighbour, u"\\"), FindLast(neighbour, u":"))));
        Status status;
        std::uint32_t number = TheMachine().System().GetTickCount();
        for (int i = 0; i < kTemporaryNameTries; ++i, ++number) {
            path_ = folder + u"bkf" + ToHex(number) + u".tmp";
            auto file = TheMachine().FileSystem().CreateFileW(path_, FileMode::CreateNew);
            status = file;
            if (status.IsOk()) file_ = std::move(file.value);
            if (status.code != SystemError::FileExists) break;
        }
        Check(neighbour, status);
    }
    ~TemporaryFile() {
        if (!path_.empty()) (void)Discard();
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// A byte a character, piece by piece: a large text isn't in memory twice.
    Status Write(TextView text) {
        for (; !text.empty(); text.remove_prefix(std::min(text.size(), kPiece))) {
            const Status written = file_->WriteFile(ToBytes(text.substr(0, kPiece)));
            if (!written.IsOk()) return written;
        }
        return file_->FlushFileBuffers();
    }

    Status MoveTo(const Text& target) {
        file_.reset();
        const Status moved = TheMachine().FileSystem().MoveFileExW(path_, target);
        if (moved.IsOk()) path_.clear();
        return moved;
    }

  private:
    Status Discard() {
        file_.reset();
        return TheMachine().FileSystem().DeleteFileW(path_);
    }

    Text path_;
    std::unique_ptr<OpenFile> file_;
};

}  // namespace

void CreateFolder(const Text& path) {
    const Status made = TheMachine().FileSystem().CreateDirectoryW(path);
    if (!made.IsOk() && !IsFolder(path)) Check(path, made);
}

bool FileExists(const Text& path) {
    const auto attributes = TheMachine().FileSystem().GetFileAttributesW(path);
    return attributes.IsOk() && (attributes.value & FileAttribute::Directory) == 0;
}

bool FolderExists(const Text& path) {
    const auto attributes = TheMachine().FileSystem().GetFileAttributesW(path);
    return attributes.IsOk() && (attributes.value & FileAttribute::Directory) != 0;
}

void WriteTextFile(const Text& path, TextView text) {
    TemporaryFile temporary(path);
    Check(path, temporary.Write(text));
    Check(path, temporary.MoveTo(path));
}

Text ReadTextFile(const Text& path) {
    const auto bytes = ReadWhole(path);
    // A link that leads nowhere has nothing to read either; whoever watches the machine tells of
    // it.
    if (bytes.IsNotThere() || bytes.code == SystemError::CantResolveFilename) return {};
    Check(path, bytes);
    return FromBytes(bytes.value);
}

Bytes ReadBinaryFile(const Text& path) {
    auto bytes = ReadWhole(path);
    if (bytes.IsNotThere()) Fail(ErrorNumber::FileNotFound, path, bytes);
    Check(path, bytes);
    return std::move(bytes.value);
}

}  // namespace bkfd::FileUtil
