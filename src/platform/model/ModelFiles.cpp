#include "platform/model/ModelFiles.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

/// The attributes that can be set; the others are facts.
constexpr std::uint32_t kSettable = FileAttribute::ReadOnly | FileAttribute::Hidden |
                                    FileAttribute::System | FileAttribute::Archive;

}  // namespace

Result<Text> ModelFiles::FullPath(TextView path) const {
    return WindowsPath::Full(path, parts_.facts.currentFolder);
}

Result<VolumeEntry> ModelFiles::Find(TextView path) const {
    const auto full = FullPath(path);
    if (!full.IsOk()) return Status(full);
    if (WindowsPath::HasWildcards(WindowsPath::Name(full.value))) {
        return Status{SystemError::InvalidName};
    }
    return parts_.volume.Find(full.value);
}

std::uint32_t ModelFiles::AttributesOf(const VolumeEntry& entry) const {
    auto given = parts_.rules.Get(entry.path).attributes;
    if (!given) {
        const auto told = parts_.volume.Attributes(entry);
        if (told.IsOk()) given = told.value;
    }
    if (entry.isFolder) return FileAttribute::Directory | (given.value_or(0) & kSettable);
    const std::uint32_t attributes = given.value_or(FileAttribute::Archive) & kSettable;
    return attributes == 0 ? FileAttribute::Normal : attributes;
}

bool ModelFiles::IsReadOnly(const VolumeEntry& entry) const {
    return (AttributesOf(entry) & FileAttribute::ReadOnly) != 0;
}

Result<std::uint32_t> ModelFiles::GetFileAttributesW(TextView path) {
    const auto entry = Find(path);
    if (!entry.IsOk()) return Status(entry);
    return AttributesOf(entry.value);
}

Status ModelFiles::SetFileAttributesW(TextView path, std::uint32_t attributes) {
    const auto entry = Find(path);
    if (!entry.IsOk()) return entry;
    if (parts_.volume.KeepsAttributes()) {
        return parts_.volume.SetAttributes(entry.value, attributes & kSettable);
    }
    if (parts_.log != nullptr) {
        MachineChange change;
        change.kind = MachineChange::Kind::SetAttributes;
        change.key = entry.value.path;
        change.number = attributes & kSettable;
        const Status noted = parts_.log->Note(change);
        if (!noted.IsOk()) return noted;
    }
    parts_.rules.At(entry.value.path).attributes = attributes & kSettable;
    return {};
}

Status ModelFiles::SetFileAttributesA(std::string_view path, std::uint32_t attributes) {
    return SetFileAttributesW(parts_.codePage.Decode(path), attributes);
}

Status ModelFiles::CheckDelete(const VolumeEntry& entry) const {
    if (entry.isFolder || IsReadOnly(entry) || parts_.processes.IsHeld(entry.path)) {
        return {SystemError::AccessDenied};
    }
    if (parts_.rules.Get(entry.path).isLocked) return {SystemError::SharingViolation};
    return {};
}

Status ModelFiles::DeleteFileW(TextView path) {
    const auto entry = Find(path);
    if (!entry.IsOk()) return entry;
    const Status allowed = CheckDelete(entry.value);
    if (!allowed.IsOk()) return allowed;
    for (const VolumeEntry& stream : parts_.volume.Streams(entry.value)) {
        const Status removed = parts_.volume.Remove(stream);
        if (!removed.IsOk()) return removed;
        parts_.rules.Erase(stream.path);
    }
    const Status removed = parts_.volume.Remove(entry.value);
    if (removed.IsOk()) parts_.rules.Erase(entry.value.path);
    return removed;
}

Status ModelFiles::DeleteFileA(std::string_view path) {
    return DeleteFileW(parts_.codePage.Decode(path));
}

Status ModelFiles::CheckMove(const VolumeEntry& file) const {
    if (file.path.size() <= 3) return {SystemError::AccessDenied};
    // A lock ends with the last process that holds the file; without any it never ends.
    if (parts_.rules.Get(file.path).isLocked) return {SystemError::SharingViolation};
    if (!parts_.facts.IsNT() && parts_.processes.IsHeld(file.path)) {
        return {SystemError::SharingViolation};
    }
    return {};
}

Result<Text> ModelFiles::MoveTarget(const VolumeEntry& source, TextView target,
                                    bool mayReplace) const {
    const auto full = FullPath(target);
    if (!full.IsOk()) return full;
    const TextView name = WindowsPath::Name(full.value);
    if (WindowsPath::HasWildcards(name) || WindowsPath::StreamColon(full.value) != TextView::npos) {
        return Status{SystemError::InvalidName};
    }
    const auto folder = parts_.volume.Find(WindowsPath::Parent(full.value));
    if (name.empty() || !folder.IsOk() || !folder.value.isFolder) {
        return Status{SystemError::PathNotFound};
    }
    if (source.isFolder &&
        (ToLower(folder.value.path) + u'\\').starts_with(ToLower(source.path) + u'\\')) {
        return Status{SystemError::SharingViolation};
    }
    const auto there = parts_.volume.Find(full.value);
    if (!there.IsOk() || EqualsIgnoreCase(there.value.path, source.path)) {
        return WindowsPath::Join(folder.value.path, name);
    }
    if (!mayReplace) return Status{SystemError::AlreadyExists};
    const Status allowed = CheckDelete(there.value);
    if (!allowed.IsOk()) return Status{SystemError::AccessDenied};
    return there.value.path;
}

Status ModelFiles::Move(TextView source, TextView target, bool mayReplace) {
    const auto entry = Find(source);
    if (!entry.IsOk()) return entry;
    if (WindowsPath::StreamColon(entry.value.path) != TextView::npos) {
        return {SystemError::InvalidName};
    }
    const auto to = MoveTarget(entry.value, target, mayReplace);
    if (!to.IsOk()) return to;
    const Status allowed = CheckMove(entry.value);
    if (!allowed.IsOk()) return allowed;
    std::vector<std::pair<VolumeEntry, Text>> moves{{entry.value, to.value}};
    for (const VolumeEntry& stream : parts_.volume.Streams(entry.value)) {
        moves.emplace_back(stream, to.value + stream.path.substr(entry.value.path.size()));
    }
    const Status moved = parts_.volume.Move(moves);
    if (!moved.IsOk()) return moved;
    for (const auto& [from, path] : moves) parts_.rules.Move(from.path, path);
    return {};
}

Status ModelFiles::MoveFileW(TextView source, TextView target) {
    return Move(source, target, false);
}

Status ModelFiles::MoveFileA(std::string_view source, std::string_view target) {
    return Move(parts_.codePage.Decode(source), parts_.codePage.Decode(target), false);
}

Status ModelFiles::MoveFileExW(TextView source, TextView target) {
    return Move(source, target, true);
}

Status ModelFiles::CreateDirectoryW(TextView path) {
    const auto full = FullPath(path);
    if (!full.IsOk()) return full;
    if (WindowsPath::HasWildcards(WindowsPath::Name(full.value)) ||
        WindowsPath::StreamColon(full.value) != TextView::npos) {
        return {SystemError::InvalidName};
    }
    const auto there = parts_.volume.Find(full.value);
    if (there.IsOk()) return {SystemError::AlreadyExists};
    if (there.code != SystemError::FileNotFound) return there;
    return parts_.volume.MakeFolder(full.value);
}

Result<std::unique_ptr<OpenFile>> ModelFiles::OpenExisting(const VolumeEntry& entry,
                                                           FileMode mode) {
    if (mode == FileMode::CreateNew) return Status{SystemError::FileExists};
    if (entry.isFolder || parts_.rules.Get(entry.path).isUnreadable) {
        return Status{SystemError::AccessDenied};
    }
    if (mode == FileMode::Read) return parts_.volume.OpenToRead(entry);
    if (IsReadOnly(entry)) return Status{SystemError::AccessDenied};
    return parts_.volume.OpenToAppend(entry);
}

Result<std::unique_ptr<OpenFile>> ModelFiles::CreateFileW(TextView path, FileMode mode) {
    const auto full = FullPath(path);
    if (!full.IsOk()) return Status(full);
    if (WindowsPath::HasWildcards(WindowsPath::Name(full.value))) {
        return Status{SystemError::InvalidName};
    }
    const auto there = parts_.volume.Find(full.value);
    if (there.IsOk()) return OpenExisting(there.value, mode);
    if (there.code != SystemError::FileNotFound || mode == FileMode::Read) return Status(there);
    auto made = parts_.volume.Create(full.value);
    if (!made.IsOk() || mode != FileMode::Append) return made;
    const Status flushed = made.value->FlushFileBuffers();
    if (!flushed.IsOk()) return flushed;
    return made;
}

std::vector<VolumeEntry> ModelFiles::FindMatches(TextView pattern) const {
    const auto full = FullPath(pattern);
    if (!full.IsOk() || full.value.size() <= 3 || pattern.ends_with(u'\\')) return {};
    const TextView name = WindowsPath::Name(full.value);
    if (!WindowsPath::HasWildcards(name)) {
        const auto entry = parts_.volume.Find(full.value);
        return entry.IsOk() ? std::vector{entry.value} : std::vector<VolumeEntry>();
    }
    const auto folder = parts_.volume.Find(WindowsPath::Parent(full.value));
    if (!folder.IsOk()) return {};
    std::vector<VolumeEntry> matches;
    for (const TextView self : {TextView(u"."), TextView(u"..")}) {
        if (folder.value.path.size() <= 3 || !WindowsPath::MatchesWildcards(self, name)) continue;
        matches.push_back(folder.value);
        matches.back().path = WindowsPath::Join(folder.value.path, self);
    }
    const auto listed = parts_.volume.List(folder.value);
    if (!listed.IsOk()) return matches;
    for (const VolumeEntry& entry : listed.value) {
        if (WindowsPath::StreamColon(entry.path) == TextView::npos &&
            WindowsPath::MatchesWildcards(WindowsPath::Name(entry.path), name)) {
            matches.push_back(entry);
        }
    }
    return matches;
}

FindData ModelFiles::Describe(const VolumeEntry& entry) const {
    FindData data;
    data.attributes = AttributesOf(entry);
    data.sizeHigh = static_cast<std::uint32_t>(entry.size >> 32);
    data.sizeLow = static_cast<std::uint32_t>(entry.size);
    data.lastWrite = entry.lastWrite;
    data.name = WindowsPath::Name(entry.path);
    return data;
}

Handle ModelFiles::FindFirstFileA(std::string_view path, FindData& data) {
    return FindFirstFileW(parts_.codePage.Decode(path), data);
}

Handle ModelFiles::FindFirstFileW(TextView path, FindData& data) {
    std::vector<VolumeEntry> matches = FindMatches(path);
    if (matches.empty()) return kInvalidHandle;
    std::ranges::reverse(matches);
    searches_[++lastSearch_] = std::move(matches);
    (void)FindNextFileW(lastSearch_, data);
    return lastSearch_;
}

Status ModelFiles::FindNextFileW(Handle search, FindData& data) {
    const auto found = searches_.find(search);
    if (found == searches_.end()) return {SystemError::InvalidHandle};
    if (found->second.empty()) return {SystemError::NoMoreFiles};
    data = Describe(found->second.back());
    found->second.pop_back();
    return {};
}

Status ModelFiles::SetCurrentDirectoryW(TextView path) {
    const auto folder = Find(path);
    if (!folder.IsOk()) return folder;
    if (!folder.value.isFolder) return {SystemError::PathNotFound};
    parts_.facts.currentFolder = folder.value.path;
    return {};
}

Result<Text> ModelFiles::GetVolumeInformationW(TextView root) {
    const Text full = root.empty() ? parts_.facts.currentFolder : Text(root);
    if (!parts_.volume.Find(full.substr(0, 3)).IsOk()) return Status{SystemError::PathNotFound};
    return parts_.facts.volumeLabel;
}

Status ModelFiles::FindClose(Handle search) {
    return searches_.erase(search) > 0 ? Status{} : Status{SystemError::InvalidHandle};
}

}  // namespace bkfd
