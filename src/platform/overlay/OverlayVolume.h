#pragma once

#include <map>

#include "platform/model/MemoryFile.h"
#include "platform/model/RegistryTree.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// The drives of another volume with changes that stay here.
class OverlayVolume final : public Volume {
  public:
    OverlayVolume(Volume& below, MemoryFileHandle::Clock clock)
        : below_(below), clock_(std::move(clock)) {}

    Result<VolumeEntry> Find(TextView path) override;
    Result<std::vector<VolumeEntry>> List(const VolumeEntry& folder) override;
    std::vector<VolumeEntry> Streams(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> OpenToRead(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> OpenToAppend(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> Create(TextView path) override;
    Status Remove(const VolumeEntry& file) override;
    Status Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) override;
    Status MakeFolder(TextView path) override;
    Result<std::uint32_t> Attributes(const VolumeEntry& entry) override;
    std::vector<VolumeEntry> All() override;

  private:
    /// What this volume says about a path. Neither `belowPath` nor `content` is a new folder.
    struct Own {
        bool isGone = false;
        VolumeEntry entry;
        Text belowPath;                       // where the volume below has it, or empty
        std::shared_ptr<MemoryFile> content;  // of a file that was written here
    };
    using OwnMap = std::map<Text, Own, TextLess>;  // by lower-cased path

    Result<Own> Locate(TextView path);
    /// `Locate`, one folder after the other: for what is changed here or lies in what is.
    Result<Own> LocateByFolder(TextView path);
    /// Whether neither this full path of long names nor a folder above it is changed here.
    bool IsAsBelow(TextView path) const;
    Result<Own> Known(const Own& own) const;
    /// Takes what is said about the path and all below it.
    OwnMap Take(TextView path);
    Status MoveOne(const VolumeEntry& source, const Text& target);
    std::unique_ptr<OpenFile> Open(const std::shared_ptr<MemoryFile>& content, bool mayWrite);

    Volume& below_;
    MemoryFileHandle::Clock clock_;
    OwnMap own_;
};

}  // namespace bkfd
