#include "platform/overlay/OverlayVolume.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

bool IsWithin(const Text& folded, const Text& folder) {
    if (!folded.starts_with(folder)) return false;
    return folded.size() == folder.size() || folder.back() == u'\\' ||
           folded[folder.size()] == u'\\';
}

Result<Bytes> ReadAll(OpenFile& file) {
    const auto size = file.GetFileSize();
    if (!size.IsOk()) return Status(size);
    Bytes bytes(static_cast<std::size_t>(size.value));
    const auto count = file.ReadFile(0, bytes);
    if (!count.IsOk()) return Status(count);
    bytes.resize(count.value);
    return bytes;
}

}  // namespace

Result<OverlayVolume::Own> OverlayVolume::Known(const Own& own) const {
    if (own.isGone) return Status{SystemError::FileNotFound};
    Own known = own;
    if (known.content) {
        known.entry.size = known.content->bytes.size();
        known.entry.lastWrite = known.content->lastWrite;
    }
    return known;
}

bool OverlayVolume::IsAsBelow(TextView path) const {
    for (; !path.empty() && !own_.empty(); path = WindowsPath::Parent(path)) {
        if (own_.contains(ToLower(path))) return false;
    }
    return true;
}

Result<OverlayVolume::Own> OverlayVolume::Locate(TextView path) {
    if (auto below = below_.Find(path); below.IsOk() && IsAsBelow(below.value.path)) {
        Own found;
        found.belowPath = below.value.path;
        found.entry = std::move(below.value);
        return found;
    }
    return LocateByFolder(path);
}

Result<OverlayVolume::Own> OverlayVolume::LocateByFolder(TextView path) {
    const TextView parentPath = WindowsPath::Parent(path);
    Own found;
    if (parentPath.empty()) {
        const auto drive = below_.Find(path);
        if (!drive.IsOk()) return Status(drive);
        found.entry = drive.value;
        found.belowPath = drive.value.path;
        return found;
    }
    const auto parent = Locate(parentPath);
    if (!parent.IsOk() && !parent.IsNotThere()) return Status(parent);
    if (!parent.IsOk() || !parent.value.entry.isFolder) return Status{SystemError::PathNotFound};
    const TextView name = WindowsPath::Name(path);
    const auto own = own_.find(ToLower(WindowsPath::Join(parent.value.entry.path, name)));
    if (own != own_.end()) return Known(own->second);
    if (parent.value.belowPath.empty()) return Status{SystemError::FileNotFound};
    const auto below = below_.Find(WindowsPath::Join(parent.value.belowPath, name));
    if (!below.IsOk()) return Status(below);
    found.entry = below.value;
    found.belowPath = below.value.path;
    found.entry.path =
        WindowsPath::Join(parent.value.entry.path, WindowsPath::Name(below.value.path));
    // The name may have been the short one of something that is known here.
    const auto spelled = own_.find(ToLower(found.entry.path));
    return spelled == own_.end() ? found : Known(spelled->second);
}

Result<VolumeEntry> OverlayVolume::Find(TextView path) {
    auto found = Locate(path);
    if (!found.IsOk()) return Status(found);
    return std::move(found.value.entry);
}

Result<std::vector<VolumeEntry>> OverlayVolume::List(const VolumeEntry& folder) {
    const auto found = Locate(folder.path);
    if (!found.IsOk()) return Status(found);
    std::vector<VolumeEntry> entries;
    if (!found.value.belowPath.empty()) {
        VolumeEntry below = found.value.entry;
        below.path = found.value.belowPath;
        const auto listed = below_.List(below);
        if (!listed.IsOk()) return listed;
        for (VolumeEntry entry : listed.value) {
            entry.path = WindowsPath::Join(folder.path, WindowsPath::Name(entry.path));
            if (!own_.contains(ToLower(entry.path))) entries.push_back(std::move(entry));
        }
    }
    const Text folded = ToLower(folder.path);
    for (const auto& [path, own] : own_) {
        if (!own.isGone && WindowsPath::Parent(path) == folded) {
            entries.push_back(Known(own).value.entry);
        }
    }
    std::sort(entries.begin(), entries.end(), [](const VolumeEntry& a, const VolumeEntry& b) {
        return CompareIgnoreCase(a.path, b.path) < 0;
    });
    return entries;
}

std::vector<VolumeEntry> OverlayVolume::Streams(const VolumeEntry& file) {
    std::vector<VolumeEntry> streams;
    const auto folder = Locate(WindowsPath::Parent(file.path));
    if (!folder.IsOk()) return streams;
    if (!folder.value.belowPath.empty()) {
        VolumeEntry below;
        below.path = WindowsPath::Join(folder.value.belowPath, WindowsPath::Name(file.path));
        for (VolumeEntry& stream : below_.Streams(below)) {
            stream.path =
                WindowsPath::Join(folder.value.entry.path, WindowsPath::Name(stream.path));
            if (!own_.contains(ToLower(stream.path))) streams.push_back(std::move(stream));
        }
    }
    const Text prefix = ToLower(file.path) + u':';
    for (auto own = own_.lower_bound(prefix); own != own_.end() && own->first.starts_with(prefix);
         ++own) {
        if (!own->second.isGone) streams.push_back(Known(own->second).value.entry);
    }
    return streams;
}

std::unique_ptr<OpenFile> OverlayVolume::Open(const std::shared_ptr<MemoryFile>& content,
                                              bool mayWrite) {
    return std::make_unique<MemoryFileHandle>(content, mayWrite, clock_);
}

Result<std::unique_ptr<OpenFile>> OverlayVolume::OpenToRead(const VolumeEntry& file) {
    const auto found = Locate(file.path);
    if (!found.IsOk()) return Status(found);
    if (found.value.content) return Open(found.value.content, false);
    VolumeEntry below = found.value.entry;
    below.path = found.value.belowPath;
    return below_.OpenToRead(below);
}

Result<std::unique_ptr<OpenFile>> OverlayVolume::OpenToAppend(const VolumeEntry& file) {
    auto found = Locate(file.path);
    if (!found.IsOk()) return Status(found);
    if (!found.value.content) {
        const auto opened = OpenToRead(file);
        if (!opened.IsOk()) return Status(opened);
        auto bytes = ReadAll(*opened.value);
        if (!bytes.IsOk()) return Status(bytes);
        found.value.content = std::make_shared<MemoryFile>(
            MemoryFile{std::move(bytes.value), found.value.entry.lastWrite});
        found.value.belowPath.clear();
        own_[ToLower(found.value.entry.path)] = found.value;
    }
    return Open(found.value.content, true);
}

Result<std::unique_ptr<OpenFile>> OverlayVolume::Create(TextView path) {
    const auto folder = Locate(WindowsPath::Parent(path));
    if (!folder.IsOk()) return Status(folder);
    Own made;
    made.entry.path = WindowsPath::Join(folder.value.entry.path, WindowsPath::Name(path));
    made.content = std::make_shared<MemoryFile>(MemoryFile{{}, clock_()});
    own_[ToLower(made.entry.path)] = made;
    return Open(made.content, true);
}

Status OverlayVolume::Remove(const VolumeEntry& file) {
    Take(file.path);
    own_[ToLower(file.path)].isGone = true;
    return {};
}

OverlayVolume::OwnMap OverlayVolume::Take(TextView path) {
    const Text folded = ToLower(path);
    OwnMap taken;
    for (auto own = own_.lower_bound(folded); own != own_.end();) {
        if (!own->first.starts_with(folded)) break;
        const auto current = own++;
        if (IsWithin(current->first, folded)) taken.insert(own_.extract(current));
    }
    return taken;
}

Status OverlayVolume::MoveOne(const VolumeEntry& source, const Text& target) {
    auto found = Locate(source.path);
    if (!found.IsOk()) return found;
    const Text folded = ToLower(source.path);
    OwnMap moved = Take(source.path);
    own_[folded].isGone = true;
    if (!EqualsIgnoreCase(source.path, target)) Take(target);
    for (auto& [path, own] : moved) {
        own.entry.path =
            target + own.entry.path.substr(std::min(own.entry.path.size(), source.path.size()));
        own_[ToLower(target) + path.substr(folded.size())] = std::move(own);
    }
    found.value.entry.path = target;
    own_[ToLower(target)] = std::move(found.value);
    return {};
}

Status OverlayVolume::Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) {
    for (const auto& [source, target] : moves) {
        const Status moved = MoveOne(source, target);
        if (!moved.IsOk()) return moved;
    }
    return {};
}

Status OverlayVolume::MakeFolder(TextView path) {
    const auto folder = Locate(WindowsPath::Parent(path));
    if (!folder.IsOk()) return folder;
    Own made;
    made.entry.path = WindowsPath::Join(folder.value.entry.path, WindowsPath::Name(path));
    made.entry.isFolder = true;
    own_[ToLower(made.entry.path)] = made;
    return {};
}

Result<std::uint32_t> OverlayVolume::Attributes(const VolumeEntry& entry) {
    auto found = Locate(entry.path);
    if (!found.IsOk()) return Status(found);
    if (found.value.belowPath.empty()) return Status{SystemError::CallNotImplemented};
    found.value.entry.path = found.value.belowPath;
    return below_.Attributes(found.value.entry);
}

std::vector<VolumeEntry> OverlayVolume::All() {
    const std::vector<VolumeEntry> below = below_.All();
    std::vector<VolumeEntry> all;
    for (const VolumeEntry& entry : below) {
        const auto found = Locate(entry.path);
        if (found.IsOk() && found.value.belowPath == entry.path) all.push_back(entry);
    }
    for (const auto& [path, own] : own_) {
        if (own.isGone) continue;
        const VolumeEntry known = Known(own).value.entry;
        const auto inside = known.isFolder ? List(known).value : std::vector<VolumeEntry>();
        if (inside.empty()) all.push_back(known);
        if (!known.isFolder || own.belowPath.empty()) continue;
        for (VolumeEntry entry : below) {
            if (entry.path.size() == own.belowPath.size() ||
                !IsWithin(ToLower(entry.path), ToLower(own.belowPath))) {
                continue;
            }
            entry.path = known.path + entry.path.substr(own.belowPath.size());
            const auto found = Locate(entry.path);
            if (found.IsOk() && !own_.contains(ToLower(entry.path))) all.push_back(entry);
        }
    }
    std::sort(all.begin(), all.end(), [](const VolumeEntry& a, const VolumeEntry& b) {
        return CompareIgnoreCase(a.path, b.path) < 0;
    });
    return all;
}

}  // namespace bkfd
