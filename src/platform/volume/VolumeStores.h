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

    using Opened = std::variant<VolumeRegistry::Store, RegistryFileError>;
    /// `mountedAt` is the native path by which links name it: "\Registry\Machine\SOFTWARE".
    Opened OpenHive(const std::string& path, const Text& mountedAt);
    Opened OpenWine(const std::string& path, const Text& linkRoot);

    /// The host's paths of all opened files, and of the logs that lie beside the hives.
    std::vector<std::string> Files() const;
    /// What is known of the open files by now: logs that don't fit, lines not understood.
    void AddProblems(std::vector<VolumeProblem>& problems) const;

    /// Deals with what a crash has left in the folder of journals.
    std::optional<VolumeError> Recover(const std::string& journals) const;
    /// Writes what has changed; makes the folder of journals if there is something to write.
    std::optional<VolumeError> Commit(const std::string& journals);

  private:
    struct Wine {
        std::string path;
        std::string before;
        std::shared_ptr<WineStore> store;
    };

    std::string folder_;
    std::vector<std::shared_ptr<HiveStore>> hives_;
    std::vector<Wine> wines_;
};

}  // namespace bkfd
