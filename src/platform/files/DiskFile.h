#pragma once

#include "platform/OrderedFile.h"
#include "platform/files/HostFiles.h"

namespace bkfd {

class DiskFile;

/// Whose drives files are written on.
class DiskFileOwner {
  public:
    virtual ~DiskFileOwner() = default;
    /// A new file has its name now.
    virtual void FileNamed(const std::string& hostPath) = 0;
    /// Takes what was written to a file at an offset, so that it is as good as on the disk before
    /// the next change. False if the file has to be flushed for that.
    virtual bool KeepWritten(DiskFile& file, std::uint64_t offset,
                             std::span<const std::uint8_t> bytes) = 0;
    /// All of the file lies on the disk, or it is closed.
    virtual void FileSettled(DiskFile& file) = 0;
};

/// An open file of an image's drive. What was written lies on the disk after a flush; a new file
/// gets its name, whole, with the first flush or at its end.
class DiskFile final : public OrderedFile {
  public:
    static Result<std::unique_ptr<OpenFile>> OpenToRead(const std::string& path);
    /// `name` is the path by which the owner knows it; the owner must outlive the file.
    static Result<std::unique_ptr<OpenFile>> OpenToAppend(const std::string& path, TextView name,
                                                          DiskFileOwner& owner);
    static Result<std::unique_ptr<OpenFile>> Create(const std::string& path, TextView name,
                                                    DiskFileOwner& owner);
    /// Whether a host's name is that of a file still being written.
    static bool IsUnfinished(std::string_view hostName);
    /// Removes what a crash has left unfinished in a folder in which nothing is being written.
    static void RemoveUnfinished(const std::string& hostFolder);

    /// One without an owner is only read.
    DiskFile(HostFile file, TextView name, DiskFileOwner* owner)
        : file_(std::move(file)), name_(name), owner_(owner) {}
    ~DiskFile() override;

    Result<std::uint64_t> GetFileSize() override;
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override;
    Status WriteFile(std::span<const std::uint8_t> bytes) override;
    Status FlushFileBuffers() override;
    Status WriteBarrier() override;

    const Text& Name() const { return name_; }

  private:
    Status GiveName();
    /// Hands the owner what is new.
    bool IsKeptByOwner();

    HostFile file_;
    Text name_;
    DiskFileOwner* owner_;
    bool isDirty_ = false;
    std::uint64_t kept_ = 0;  // up to here all lies on the disk, or the owner has it
    std::string beside_;      // where a new file is written until it gets its name
    std::string target_;
};

}  // namespace bkfd
