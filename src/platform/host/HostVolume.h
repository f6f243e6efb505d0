#pragma once

#include <map>
#include <string>

#include "platform/model/RegistryTree.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// Files of the system that the program runs on, each under a Windows name that it is given; to be
/// read only. There are no other files.
class HostVolume final : public Volume {
  public:
    /// The Windows name of a host file: a folder of its own, the name of the file's folder and the
    /// file's name ("H:\1\System32\a.dll"), so that judgments of a name's end see what they would
    /// see on Windows. Characters that no name on Windows can have become others. The file need not
    /// exist.
    Text Add(const std::string& hostPath);

    Result<VolumeEntry> Find(TextView path) override;
    Result<std::vector<VolumeEntry>> List(const VolumeEntry& folder) override;
    std::vector<VolumeEntry> Streams(const VolumeEntry&) override { return {}; }
    Result<std::unique_ptr<OpenFile>> OpenToRead(const VolumeEntry& file) override;

    // Nothing of the host is changed: these are refused.
    Result<std::unique_ptr<OpenFile>> OpenToAppend(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> Create(TextView path) override;
    Status Remove(const VolumeEntry& file) override;
    Status Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) override;
    Status MakeFolder(TextView path) override;

    std::vector<VolumeEntry> All() override;

  private:
    std::map<Text, std::string> hostPaths_;  // by lower-cased Windows name
};

}  // namespace bkfd
