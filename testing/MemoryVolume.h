#pragma once

#include <functional>
#include <map>

#include "platform/model/MemoryFile.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// Drives in memory.
class MemoryVolume final : public Volume {
  public:
    using Clock = std::function<Date()>;

    explicit MemoryVolume(Clock clock) : clock_(std::move(clock)) {}

    /// Makes the file with its folders and drive, or gives it a new content.
    void Put(TextView path, Bytes content);
    void PutFolder(TextView path);
    /// The 8.3 name that the file or folder is found under too. False if it isn't there.
    bool SetShortName(TextView path, TextView shortName);
    /// Null if there is no such file.
    const Bytes* Content(TextView path) const;

    Result<VolumeEntry> Find(TextView path) override;
    Result<std::vector<VolumeEntry>> List(const VolumeEntry& folder) override;
    std::vector<VolumeEntry> Streams(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> OpenToRead(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> OpenToAppend(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> Create(TextView path) override;
    Status Remove(const VolumeEntry& file) override;
    Status Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) override;
    Status MakeFolder(TextView path) override;
    std::vector<VolumeEntry> All() override;

  private:
    struct Node {
        Text name;
        Text shortName;
        std::shared_ptr<MemoryFile> file;  // null for a folder
        std::map<Text, std::unique_ptr<Node>> below;
    };

    /// Walks down; `path` receives the disk's spelling, `isLastMissing` whether all but the last
    /// component is there.
    const Node* Walk(TextView path, Text& spelled, bool& isLastMissing) const;
    const Node* Walk(TextView path) const;
    Node* Walk(TextView path) { return const_cast<Node*>(std::as_const(*this).Walk(path)); }
    Node& MakeNode(TextView path);
    static const Node* Child(const Node& folder, TextView name);
    static VolumeEntry EntryOf(const Node& node, Text path);
    static void Collect(const Node& node, const Text& path, std::vector<VolumeEntry>& out);
    std::unique_ptr<Node> Detach(TextView path);

    Clock clock_;
    Node root_;  // its children are the drives
};

}  // namespace bkfd
