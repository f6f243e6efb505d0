#include "testing/MemoryVolume.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

TextView NextComponent(TextView& rest) {
    while (!rest.empty() && rest.front() == u'\\') rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(u'\\'), rest.size());
    const TextView component = rest.substr(0, end);
    rest.remove_prefix(end);
    return component;
}

/// A node's name below its folder's path; a drive's root keeps its backslash.
Text PathBelow(const Text& folder, const Text& name) {
    return folder.empty() ? name + u'\\' : WindowsPath::Join(folder, name);
}

}  // namespace

const MemoryVolume::Node* MemoryVolume::Child(const Node& folder, TextView name) {
    const auto found = folder.below.find(ToLower(name));
    if (found != folder.below.end()) return found->second.get();
    if (name.find(u'~') == TextView::npos) return nullptr;
    for (const auto& [folded, node] : folder.below) {
        if (!node->shortName.empty() && EqualsIgnoreCase(node->shortName, name)) return node.get();
    }
    return nullptr;
}

const MemoryVolume::Node* MemoryVolume::Walk(TextView path, Text& spelled,
                                             bool& isLastMissing) const {
    const Node* node = &root_;
    for (TextView part = NextComponent(path); !part.empty(); part = NextComponent(path)) {
        isLastMissing = path.empty() && !node->file && node != &root_;
        node = Child(*node, part);
        if (node == nullptr) return nullptr;
        spelled = PathBelow(spelled, node->name);
    }
    return node;
}

const MemoryVolume::Node* MemoryVolume::Walk(TextView path) const {
    Text spelled;
    bool isLastMissing = false;
    return Walk(path, spelled, isLastMissing);
}

MemoryVolume::Node& MemoryVolume::MakeNode(TextView path) {
    Node* node = &root_;
    for (TextView part = NextComponent(path); !part.empty(); part = NextComponent(path)) {
        Node* below = const_cast<Node*>(Child(*node, part));
        if (below == nullptr) {
            auto& made = node->below[ToLower(part)];
            made = std::make_unique<Node>();
            made->name = part;
            below = made.get();
        }
        node = below;
    }
    return *node;
}

VolumeEntry MemoryVolume::EntryOf(const Node& node, Text path) {
    VolumeEntry entry{std::move(path), node.file == nullptr, 0, 0};
    if (node.file) {
        entry.size = node.file->bytes.size();
        entry.lastWrite = node.file->lastWrite;
    }
    return entry;
}

void MemoryVolume::Put(TextView path, Bytes content) {
    Node& node = MakeNode(path);
    if (!node.file) node.file = std::make_shared<MemoryFile>();
    *node.file = {std::move(content), clock_()};
}

void MemoryVolume::PutFolder(TextView path) {
    MakeNode(path);
}

bool MemoryVolume::SetShortName(TextView path, TextView shortName) {
    Node* node = Walk(path);
    if (node == nullptr) return false;
    node->shortName = shortName;
    return true;
}

const Bytes* MemoryVolume::Content(TextView path) const {
    const Node* node = Walk(path);
    return node != nullptr && node->file ? &node->file->bytes : nullptr;
}

void MemoryVolume::Collect(const Node& node, const Text& path, std::vector<VolumeEntry>& out) {
    if (!path.empty() && node.below.empty()) out.push_back(EntryOf(node, path));
    for (const auto& [folded, below] : node.below) {
        Collect(*below, PathBelow(path, below->name), out);
    }
}

std::vector<VolumeEntry> MemoryVolume::All() {
    std::vector<VolumeEntry> all;
    Collect(root_, {}, all);
    std::sort(all.begin(), all.end(), [](const VolumeEntry& a, const VolumeEntry& b) {
        return CompareIgnoreCase(a.path, b.path) < 0;
    });
    return all;
}

Result<VolumeEntry> MemoryVolume::Find(TextView path) {
    Text spelled;
    bool isLastMissing = false;
    const Node* node = Walk(path, spelled, isLastMissing);
    if (node == nullptr) {
        return Status{isLastMissing ? SystemError::FileNotFound : SystemError::PathNotFound};
    }
    return EntryOf(*node, std::move(spelled));
}

Result<std::vector<VolumeEntry>> MemoryVolume::List(const VolumeEntry& folder) {
    const Node* node = Walk(folder.path);
    if (node == nullptr || node->file) return Status{SystemError::PathNotFound};
    std::vector<VolumeEntry> entries;
    for (const auto& [folded, below] : node->below) {
        entries.push_back(EntryOf(*below, WindowsPath::Join(folder.path, below->name)));
    }
    std::sort(entries.begin(), entries.end(), [](const VolumeEntry& a, const VolumeEntry& b) {
        return CompareIgnoreCase(a.path, b.path) < 0;
    });
    return entries;
}

std::vector<VolumeEntry> MemoryVolume::Streams(const VolumeEntry& file) {
    std::vector<VolumeEntry> streams;
    const Node* folder = Walk(WindowsPath::Parent(file.path));
    if (folder == nullptr) return streams;
    const Text prefix = ToLower(WindowsPath::Name(file.path)) + u':';
    for (auto below = folder->below.lower_bound(prefix);
         below != folder->below.end() && below->first.starts_with(prefix); ++below) {
        streams.push_back(EntryOf(*below->second, WindowsPath::Join(WindowsPath::Parent(file.path),
                                                                    below->second->name)));
    }
    return streams;
}

Result<std::unique_ptr<OpenFile>> MemoryVolume::OpenToRead(const VolumeEntry& file) {
    const Node* node = Walk(file.path);
    if (node == nullptr || !node->file) return Status{SystemError::FileNotFound};
    return std::unique_ptr<OpenFile>(std::make_unique<MemoryFileHandle>(node->file, false, clock_));
}

Result<std::unique_ptr<OpenFile>> MemoryVolume::OpenToAppend(const VolumeEntry& file) {
    const Node* node = Walk(file.path);
    if (node == nullptr || !node->file) return Status{SystemError::FileNotFound};
    return std::unique_ptr<OpenFile>(std::make_unique<MemoryFileHandle>(node->file, true, clock_));
}

Result<std::unique_ptr<OpenFile>> MemoryVolume::Create(TextView path) {
    Put(path, {});
    return std::unique_ptr<OpenFile>(
        std::make_unique<MemoryFileHandle>(Walk(path)->file, true, clock_));
}

std::unique_ptr<MemoryVolume::Node> MemoryVolume::Detach(TextView path) {
    Node* folder = Walk(WindowsPath::Parent(path));
    auto found = folder->below.find(ToLower(WindowsPath::Name(path)));
    if (found == folder->below.end()) return nullptr;
    auto node = std::move(found->second);
    folder->below.erase(found);
    return node;
}

Status MemoryVolume::Remove(const VolumeEntry& file) {
    return Detach(file.path) ? Status{} : Status{SystemError::FileNotFound};
}

Status MemoryVolume::Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) {
    for (const auto& [source, target] : moves) {
        auto node = Detach(source.path);
        if (!node) return {SystemError::FileNotFound};
        node->name = WindowsPath::Name(target);
        node->shortName.clear();
        Walk(WindowsPath::Parent(target))->below[ToLower(node->name)] = std::move(node);
    }
    return {};
}

Status MemoryVolume::MakeFolder(TextView path) {
    MakeNode(path);
    return {};
}

}  // namespace bkfd
