#include "platform/image/DiskVolume.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "platform/files/DiskFile.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

/// The canonical host path; empty for a broken link or a cycle of links.
std::string RealPath(const std::string& path) {
    char room[PATH_MAX];
    return realpath(path.c_str(), room) == nullptr ? std::string() : std::string(room);
}

/// Where a link leads to whose end isn't there: the path that its links name; empty for a cycle.
std::string EndOfBrokenLink(const std::string& link) {
    namespace fs = std::filesystem;
    constexpr int kMostLinks = 40;
    std::error_code error;
    fs::path end = link;
    for (int i = 0; i < kMostLinks && !error; ++i) {
        const fs::path target = fs::read_symlink(end, error);
        if (error) return end.native();
        end = fs::weakly_canonical(end.parent_path() / target, error);
    }
    return {};
}

bool SortsBefore(const VolumeEntry& a, const VolumeEntry& b) {
    return CompareIgnoreCase(a.path, b.path) < 0;
}

}  // namespace

DiskVolume::DiskVolume(const std::string& drives, DiskJournal& journal)
    : drives_(RealPath(drives)), journal_(journal) {
    if (drives_.empty()) drives_ = drives;
}

void DiskVolume::AssumeFolder(TextView path) {
    for (; !path.empty(); path = WindowsPath::Parent(path)) {
        const Text folded = ToLower(path);
        if (std::find(assumed_.begin(), assumed_.end(), folded) == assumed_.end()) {
            assumed_.push_back(folded);
        }
    }
}

bool DiskVolume::IsAssumed(TextView path) const {
    return std::find(assumed_.begin(), assumed_.end(), ToLower(path)) != assumed_.end();
}

const DiskVolume::Names& DiskVolume::NamesIn(const std::string& hostFolder) {
    const auto [cached, isNew] = names_.try_emplace(hostFolder);
    if (!isNew) return cached->second;
    DIR* opened = opendir(hostFolder.c_str());
    if (opened == nullptr) {
        unreadable_[hostFolder] = StatusOfErrno(errno);
        return cached->second;
    }
    unreadable_.erase(hostFolder);
    std::vector<std::string> hostNames;
    while (const dirent* entry = readdir(opened)) hostNames.emplace_back(entry->d_name);
    closedir(opened);
    // Of names that differ in case only the first in byte order counts, on every host.
    std::sort(hostNames.begin(), hostNames.end());
    for (std::string& name : hostNames) {
        if (name == "." || name == ".." || DiskFile::IsUnfinished(name)) continue;
        cached->second.try_emplace(ToLower(FromHostName(name)), std::move(name));
    }
    return cached->second;
}

Status DiskVolume::Missing(const std::string& hostFolder) const {
    const auto reason = unreadable_.find(hostFolder);
    return reason == unreadable_.end() ? Status{SystemError::FileNotFound} : reason->second;
}

bool DiskVolume::IsInside(const std::string& hostPath) const {
    return hostPath == drives_ || hostPath.starts_with(drives_ + '/');
}

Status DiskVolume::Describe(Place& place) const {
    constexpr Status kNothing{SystemError::FileNotFound};
    constexpr Status kOutside{SystemError::CantResolveFilename};
    struct stat facts {};
    if (lstat(place.host.c_str(), &facts) != 0) return StatusOfErrno(errno);
    place.resolved = place.host;
    if (S_ISLNK(facts.st_mode)) {
        place.resolved = RealPath(place.host);
        if (place.resolved.empty()) {
            const std::string end = EndOfBrokenLink(place.host);
            return end.empty() || IsInside(end) ? kNothing : kOutside;
        }
        if (!IsInside(place.resolved)) return kOutside;
        if (stat(place.resolved.c_str(), &facts) != 0) return StatusOfErrno(errno);
    }
    if (!S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode)) return kNothing;
    place.entry.isFolder = S_ISDIR(facts.st_mode);
    place.entry.size = place.entry.isFolder ? 0 : static_cast<std::uint64_t>(facts.st_size);
    place.entry.lastWrite = ToLocalDate({facts.st_mtim.tv_sec, 0});
    return {};
}

Result<DiskVolume::Place> DiskVolume::LocateIn(const Place& folder, TextView name) {
    const Names& names = NamesIn(folder.resolved);
    const auto found = names.find(ToLower(name));
    if (found == names.end()) return Missing(folder.resolved);
    Place place;
    place.host = folder.resolved + '/' + found->second;
    place.entry.path = WindowsPath::Join(folder.entry.path, FromHostName(found->second));
    const Status described = Describe(place);
    if (!described.IsOk()) return described;
    return place;
}

Result<DiskVolume::Place> DiskVolume::Locate(TextView path) {
    // Names such as "System" of a process stand for no file.
    if (path.size() < 3 || path[1] != u':' || path[2] != u'\\') {
        return Status{SystemError::PathNotFound};
    }
    const TextView parentPath = WindowsPath::Parent(path);
    if (parentPath.empty()) {
        Place drives;
        drives.resolved = drives_;
        auto drive = LocateIn(drives, path.substr(0, 1));
        if (drive.IsNotThere()) return Status{SystemError::PathNotFound};
        if (!drive.IsOk()) return drive;
        drive.value.entry.path = Text(1, static_cast<char16_t>(ToLower(path[0]) - u'a' + u'A'));
        drive.value.entry.path += u":\\";
        return drive;
    }
    const Text folded = ToLower(parentPath);
    const auto known = folders_.find(folded);
    if (known != folders_.end()) return LocateIn(known->second, WindowsPath::Name(path));
    const auto parent = Locate(parentPath);
    if (!parent.IsOk() && !parent.IsNotThere()) return Status(parent);
    if (!parent.IsOk() || !parent.value.entry.isFolder) return Status{SystemError::PathNotFound};
    folders_.emplace(folded, parent.value);
    return LocateIn(parent.value, WindowsPath::Name(path));
}

Result<VolumeEntry> DiskVolume::Find(TextView path) {
    auto place = Locate(path);
    if (place.IsOk()) return std::move(place.value.entry);
    if (IsAssumed(path)) return VolumeEntry{Text(path), true, 0, 0};
    if (place.code == SystemError::PathNotFound && IsAssumed(WindowsPath::Parent(path))) {
        return Status{SystemError::FileNotFound};
    }
    return Status(place);
}

Result<std::vector<VolumeEntry>> DiskVolume::List(const VolumeEntry& folder) {
    const auto place = Locate(folder.path);
    std::vector<VolumeEntry> entries;
    if (!place.IsOk() && IsAssumed(folder.path)) return entries;
    if (!place.IsOk()) return Status(place);
    const Names& names = NamesIn(place.value.resolved);
    const Status missing = Missing(place.value.resolved);
    if (!missing.IsNotThere()) return missing;
    for (const auto& [folded, hostName] : names) {
        Place below;
        below.host = place.value.resolved + '/' + hostName;
        below.entry.path = WindowsPath::Join(folder.path, FromHostName(hostName));
        if (Describe(below).IsOk()) entries.push_back(std::move(below.entry));
    }
    std::sort(entries.begin(), entries.end(), SortsBefore);
    return entries;
}

Result<std::unique_ptr<OpenFile>> DiskVolume::OpenToRead(const VolumeEntry& file) {
    const auto place = Locate(file.path);
    if (!place.IsOk()) return Status(place);
    return DiskFile::OpenToRead(place.value.resolved);
}

Result<std::unique_ptr<OpenFile>> DiskVolume::OpenToAppend(const VolumeEntry& file) {
    const auto place = Locate(file.path);
    if (!place.IsOk()) return Status(place);
    const Status noted = journal_.NoteWriting();
    if (!noted.IsOk()) return noted;
    return DiskFile::OpenToAppend(place.value.resolved);
}

Result<std::string> DiskVolume::HostFolder(TextView path) {
    const auto place = Locate(path);
    if (place.IsOk()) return place.value.resolved;
    if (!IsAssumed(path)) return Status(place);
    const TextView parent = WindowsPath::Parent(path);
    const auto above = parent.empty() ? Result<std::string>(drives_) : HostFolder(parent);
    if (!above.IsOk()) return above;
    if (parent.empty()) mkdir(drives_.c_str(), 0777);
    const Text name = parent.empty() ? ToLower(path.substr(0, 1)) : Text(WindowsPath::Name(path));
    const std::string host = above.value + '/' + ToHostName(name);
    // What is there and wasn't found is no folder of the image, but perhaps a link out of it.
    if (mkdir(host.c_str(), 0777) != 0) {
        return Status{errno == EEXIST ? SystemError::AccessDenied : StatusOfErrno(errno).code};
    }
    Forget(above.value);
    const Status synced = SyncHostFolder(above.value);
    if (!synced.IsOk()) return synced;
    return host;
}

Result<std::unique_ptr<OpenFile>> DiskVolume::Create(TextView path) {
    const Status noted = journal_.NoteWriting();
    if (!noted.IsOk()) return noted;
    const auto folder = HostFolder(WindowsPath::Parent(path));
    if (!folder.IsOk()) return Status(folder);
    if (swept_.insert(folder.value).second) DiskFile::RemoveUnfinished(folder.value);
    return DiskFile::Create(folder.value + '/' + ToHostName(WindowsPath::Name(path)),
                            [this, host = folder.value] { Forget(host); });
}

Status DiskVolume::MakeFolder(TextView path) {
    const Status noted = journal_.NoteWriting();
    if (!noted.IsOk()) return noted;
    const auto folder = HostFolder(WindowsPath::Parent(path));
    if (!folder.IsOk()) return folder;
    ReachWritePoint("make folder");
    const std::string host = folder.value + '/' + ToHostName(WindowsPath::Name(path));
    if (mkdir(host.c_str(), 0777) != 0) return StatusOfErrno(errno);
    Forget(folder.value);
    return SyncHostFolder(folder.value);
}

Status DiskVolume::RedoRemoval(const Text& path) {
    const auto place = Locate(path);
    if (!place.IsOk()) return {};
    const std::string folder = HostParent(place.value.host);
    ReachWritePoint("unlink");
    if (unlink(place.value.host.c_str()) != 0) return StatusOfErrno(errno);
    Forget(folder);
    ReachWritePoint("unlinked");
    return SyncHostFolder(folder);
}

Status DiskVolume::Remove(const VolumeEntry& file) {
    const Status noted = journal_.NoteRemoval(file.path);
    if (!noted.IsOk()) return noted;
    const Status removed = RedoRemoval(file.path);
    journal_.NoteOutcome(removed.IsOk());
    return removed;
}

Status DiskVolume::Rename(const Text& source, const Text& target) {
    const auto from = Locate(source);
    if (!from.IsOk()) return from;
    const auto folder = HostFolder(WindowsPath::Parent(target));
    if (!folder.IsOk()) return folder;
    const auto there = Locate(target);
    // What stands at the target is replaced under the name that the host has for it.
    const bool isReplaced = there.IsOk() && there.value.host != from.value.host;
    const std::string to =
        isReplaced ? there.value.host : folder.value + '/' + ToHostName(WindowsPath::Name(target));
    struct stat facts {};
    // What the machine doesn't see: a pipe, a link to nowhere, a name that differs in case alone.
    const bool isHidden = !isReplaced && to != from.value.host && lstat(to.c_str(), &facts) == 0;
    if (isHidden) return {SystemError::AccessDenied};
    ReachWritePoint("rename");
    if (rename(from.value.host.c_str(), to.c_str()) != 0) return StatusOfErrno(errno);
    ReachWritePoint("renamed");
    names_.clear();  // a folder may have taken what is below it along
    folders_.clear();
    const Status synced = SyncHostFolder(folder.value);
    return synced.IsOk() ? SyncHostFolder(HostParent(from.value.host)) : synced;
}

Status DiskVolume::RedoMoves(const VolumeMoves& moves) {
    for (const auto& [source, target] : moves) {
        if (!Locate(source).IsOk()) continue;
        const Status moved = Rename(source, target);
        if (!moved.IsOk()) return moved;
    }
    return {};
}

Status DiskVolume::Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) {
    VolumeMoves paths;
    for (const auto& [source, target] : moves) paths.emplace_back(source.path, target);
    const Status noted = journal_.NoteMoves(paths);
    if (!noted.IsOk()) return noted;
    Status moved;
    for (std::size_t done = 0; done < paths.size() && moved.IsOk(); ++done) {
        moved = Rename(paths[done].first, paths[done].second);
        // All or none: what was moved goes back.
        while (!moved.IsOk() && done-- > 0) (void)Rename(paths[done].second, paths[done].first);
        if (!moved.IsOk()) break;
    }
    journal_.NoteOutcome(moved.IsOk());
    return moved;
}

void DiskVolume::Collect(const VolumeEntry& folder, std::vector<VolumeEntry>& out) {
    const auto place = Locate(folder.path);
    const auto below = List(folder);
    if (below.value.empty() || place.value.host != place.value.resolved) out.push_back(folder);
    if (place.value.host != place.value.resolved) return;
    for (const VolumeEntry& entry : below.value) {
        if (entry.isFolder) {
            Collect(entry, out);
        } else {
            out.push_back(entry);
        }
    }
}

std::vector<VolumeEntry> DiskVolume::All() {
    std::vector<VolumeEntry> all;
    for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
        const auto drive = Locate(Text(1, letter) + u":\\");
        if (drive.IsOk() && drive.value.entry.isFolder) Collect(drive.value.entry, all);
    }
    std::sort(all.begin(), all.end(), SortsBefore);
    return all;
}

}  // namespace bkfd
