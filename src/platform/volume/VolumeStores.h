#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/hive/HiveStore.h"
#include "platform/volume/FindWindows.h"
#include "platform/volume/VolumeRegistry.h"
#include "platform/volume/WineStore.h"

namespace bkfd {

struct VolumeProblem;

/// The registry files of one volume, as stores that know how they are written back.
class VolumeStores {
  public:
    /// `folder` is a real path that all files lie below.
    explicit VolumeStores(std::string folder) : folder_(std::move(folder)) {}

    /// Whether a file can be written: that of another drive is only read.
    bool MayWrite(const std::string& realPath) const { return LiesBelow(realPath, folder_); }

    using Opened = std::variant<VolumeRegistry::Store, RegistryFileError>;
    /// `path` is a real one.
    /// `mountedAt` is the native path by which links name it: "\Registry\Machine\SOFTWARE".
    Opened OpenHive(const std::string& path, const Text& mountedAt);
    Opened OpenWine(const std::string& path, const Text& linkRoot);

    /// The host's paths of all opened files, and of the logs that lie beside the hives.
    std::vector<std::string> Files() const;
    /// What is known of the open files by now: logs that don't fit, lines not understood.
    void AddProblems(std::vector<VolumeProblem>& problems) const;

    /// Deals with a commit that broke off; says what was done, nothing if nothing was to be done.
    std::variant<std::string, VolumeError> Recover(const std::string& journal) const;
    /// The same for who may not write: files that are opened from now on are read as they were
    /// before that commit.
    std::variant<std::string, VolumeError> ReadThrough(const std::string& journal);
    /// Writes what has changed; makes the folder of journals if there is something to write.
    /// `record` is that of the operation, by which its journals are found.
    std::optional<VolumeError> Commit(const std::string& journals, std::uint32_t record);

  private:
    struct Wine {
        std::string path;
        std::string before;   // what the file holds
        std::string written;  // of the store, when it was written last
        std::shared_ptr<WineStore> store;
    };

    std::string folder_;
    FormerFiles former_;
    std::vector<std::shared_ptr<HiveStore>> hives_;
    std::vector<Wine> wines_;
};

}  // namespace bkfd
