#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/Machine.h"

namespace bkfd {

/// A file or folder of a volume, as the disk spells it.
struct VolumeEntry {
    Text path;  // "C:\WINDOWS\a.exe", long names
    bool isFolder = false;
    std::uint64_t size = 0;
    Date lastWrite = 0;
};

/// Bytes under names, for all drives together: what the file calls stand on. Paths are absolute and
/// resolved; names ignore case. Refusals are not its business.
class Volume {
  public:
    virtual ~Volume() = default;

    /// `FileNotFound` if only the last component is missing, else `PathNotFound`.
    virtual Result<VolumeEntry> Find(TextView path) = 0;
    virtual Result<std::vector<VolumeEntry>> List(const VolumeEntry& folder) = 0;
    /// The streams of the file: what lies beside it as "a.exe:stream".
    virtual std::vector<VolumeEntry> Streams(const VolumeEntry& file) = 0;
    /// Whether the disk keeps such a stream within the file.
    virtual bool HasStream(const VolumeEntry& /*file*/, TextView /*name*/) { return false; }

    virtual Result<std::unique_ptr<OpenFile>> OpenToRead(const VolumeEntry& file) = 0;
    virtual Result<std::unique_ptr<OpenFile>> OpenToAppend(const VolumeEntry& file) = 0;
    /// Makes a file that isn't there, in a folder that is. It may be found only after its first
    /// flush, or its end.
    virtual Result<std::unique_ptr<OpenFile>> Create(TextView path) = 0;

    virtual Status Remove(const VolumeEntry& file) = 0;
    /// Moves files or folders, all or none; what stands at a target is replaced.
    virtual Status Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) = 0;
    virtual Status MakeFolder(TextView path) = 0;

    /// Whether the disk itself keeps DOS attributes, so that setting them is a change of its own.
    virtual bool KeepsAttributes() const { return false; }
    /// The attributes that the disk tells, `FileAttribute`; `CallNotImplemented` where it has none.
    virtual Result<std::uint32_t> Attributes(const VolumeEntry& /*entry*/) {
        return Status{SystemError::CallNotImplemented};
    }
    virtual Status SetAttributes(const VolumeEntry& /*entry*/, std::uint32_t /*attributes*/) {
        return {SystemError::CallNotImplemented};
    }

    /// All files and empty folders, by path, for dumps.
    virtual std::vector<VolumeEntry> All() = 0;
};

}  // namespace bkfd
