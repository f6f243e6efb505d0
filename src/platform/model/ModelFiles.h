#pragma once

#include <unordered_map>

#include "platform/model/ChangeLog.h"
#include "platform/model/CodePage.h"
#include "platform/model/FileRules.h"
#include "platform/model/MachineFacts.h"
#include "platform/model/ModelProcesses.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// The file calls over a volume: paths, attributes, refusals, the search order.
class ModelFiles final : public Files {
  public:
    struct Parts {
        Volume& volume;
        FileRules& rules;
        MachineFacts& facts;
        CodePage& codePage;
        ModelProcesses& processes;
        ChangeLog* log;  // may be null
    };

    explicit ModelFiles(const Parts& parts) : parts_(parts) {}

    /// The absolute path of a path as a caller gives it.
    Result<Text> FullPath(TextView path) const;
    /// Whether a move of the file would be refused, for whatever is not its target's fault.
    Status CheckMove(const VolumeEntry& file) const;

    Result<std::uint32_t> GetFileAttributesW(TextView path) override;
    Status SetFileAttributesW(TextView path, std::uint32_t attributes) override;
    Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override;
    Status DeleteFileW(TextView path) override;
    Status DeleteFileA(std::string_view path) override;
    Status MoveFileW(TextView source, TextView target) override;
    Status MoveFileA(std::string_view source, std::string_view target) override;
    Status MoveFileExW(TextView source, TextView target) override;
    Status CreateDirectoryW(TextView path) override;
    Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override;
    Handle FindFirstFileA(std::string_view path, FindData& data) override;
    Handle FindFirstFileW(TextView path, FindData& data) override;
    Status FindNextFileW(Handle search, FindData& data) override;
    Status FindClose(Handle search) override;
    Status SetCurrentDirectoryW(TextView path) override;
    Result<Text> GetVolumeInformationW(TextView root) override;
    SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) override;
    SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) override;
    std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) override;

  private:
    Result<VolumeEntry> Find(TextView path) const;
    std::uint32_t AttributesOf(const VolumeEntry& entry) const;
    bool IsReadOnly(const VolumeEntry& entry) const;
    Status CheckDelete(const VolumeEntry& entry) const;
    /// Checks a target and returns its path with its folder as the disk spells it.
    Result<Text> MoveTarget(const VolumeEntry& source, TextView target, bool mayReplace) const;
    Status Move(TextView source, TextView target, bool mayReplace);
    Result<std::unique_ptr<OpenFile>> OpenExisting(const VolumeEntry& entry, FileMode mode);
    /// The entries that a search finds, none where it fails.
    std::vector<VolumeEntry> FindMatches(TextView pattern) const;
    FindData Describe(const VolumeEntry& entry) const;
    /// The path as the caller would find it, empty if there is nothing of the name.
    Text Search(TextView name) const;
    std::vector<Text> SearchFolders() const;

    Parts parts_;
    std::unordered_map<Handle, std::vector<VolumeEntry>> searches_;  // what is left, last first
    Handle lastSearch_ = 0x1000'0000;
};

}  // namespace bkfd
