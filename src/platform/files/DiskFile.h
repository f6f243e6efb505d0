#pragma once

#include "platform/files/HostFiles.h"

namespace bkfd {

/// An open file of an image's drive. What was written lies on the disk after a flush; a new file
/// gets its name, whole, with the first flush or at its end.
class DiskFile final : public OpenFile {
  public:
    static Result<std::unique_ptr<OpenFile>> OpenToRead(const std::string& path);
    static Result<std::unique_ptr<OpenFile>> OpenToAppend(const std::string& path);
    /// `onNamed` is called when the file has its name.
    static Result<std::unique_ptr<OpenFile>> Create(const std::string& path,
                                                    std::function<void()> onNamed);
    /// Whether a host's name is that of a file still being written.
    static bool IsUnfinished(std::string_view hostName);
    /// Removes what a crash has left unfinished in a folder in which nothing is being written.
    static void RemoveUnfinished(const std::string& hostFolder);

    DiskFile(HostFile file, bool mayWrite) : file_(std::move(file)), mayWrite_(mayWrite) {}
    ~DiskFile() override;

    Result<std::uint64_t> GetFileSize() override;
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override;
    Status WriteFile(std::span<const std::uint8_t> bytes) override;
    Status FlushFileBuffers() override;

  private:
    Status GiveName();

    HostFile file_;
    bool mayWrite_;
    bool isDirty_ = false;
    std::string beside_;  // where a new file is written until it gets its name
    std::string target_;
    std::function<void()> onNamed_;
};

}  // namespace bkfd
