#include "platform/files/DiskVolume.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "platform/files/DiskAttributes.h"
#include "platform/model/ShortNames.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

/// The canonical host path; empty for a broken link or a cycle of links.
std::string RealPath(const std::string& path) {
    char room[PATH_MAX];
    return realpath(path.c_str(), room) == nullptr ? std::string() : std::string(room);
}

/// As many as Linux follows in one path.
constexpr int kMostLinks = 40;

/// Where a link leads to whose end isn't there: the path that its links name; empty for a cycle.
std::string EndOfBrokenLink(const std::string& link) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path end = link;
    for (int i = 0; i < kMostLinks && !error; ++i) {
        const fs::path target = fs::read_symlink(end, error);
        if (error) return end.native();
        end = fs::weakly_canonical(end.parent_path() / target, error);
    }
    return {};
}

std::string TextOfLink(const std::string& link) {
    char room[PATH_MAX];
    const ssize_t count = readlink(link.c_str(), room, sizeof room);
    return count < 0 ? std::string() : std::string(room, static_cast<std::size_t>(count));
}

/// The path of Windows that a link's text is, as some drivers give those of junctions; or empty.
Text WindowsTarget(const std::string& text) {
    if (text.find('\\') == std::string::npos) return {};
    const auto full = WindowsPath::Full(FromHostName(text), u"");
    return full.IsOk() && full.value.size() > 2 && full.value[1] == u':' ? full.value : Text();
}

char16_t DriveLetter(char16_t letter) {
    return static_cast<char16_t>(ToLower(letter) - u'a' + u'A');
}

bool SortsBefore(const VolumeEntry& a, const VolumeEntry& b) {
    return CompareIgnoreCase(a.path, b.path) < 0;
}

}  // namespace

bool IsAtOrBelow(TextView path, TextView place) {
    return EqualsIgnoreCase(path.substr(0, place.size()), place) &&
           (path.size() == place.size() || path[place.size()] == u'\\');
}

DiskVolume::DiskVolume(const std::string& drives, DiskJournal& journal)
    : drives_(RealPath(drives)), journal_(journal) {
    if (drives_.empty()) drives_ = drives;
    allowed_.push_back(drives_);
}

DiskVolume::DiskVolume(DriveFolders drives, DiskJournal& journal)
    : letters_(std::move(drives)), journal_(journal) {
    for (auto& [letter, folder] : letters_) {
        if (const std::string real = RealPath(folder); !real.empty()) folder = real;
        allowed_.push_back(folder);
    }
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
    DIR* opened = OpenFolderUntouched(hostFolder);
    if (opened == nullptr) {
        unreadable_[hostFolder] = StatusOfErrno(errno);
        return cached->second;
    }
    unreadable_.erase(hostFolder);
    while (const dirent* entry = readdir(opened)) {
        const std::string name = entry->d_name;
        // No path of Windows could name a backslash.
        if (name == "." || name == ".." || name.find('\\') != std::string::npos ||
            DiskFile::IsUnfinished(name)) {
            continue;
        }
        cached->second.emplace(ToLower(FromHostName(name)), name);
    }
    closedir(opened);
    return cached->second;
}

DiskVolume::Names::const_iterator DiskVolume::FindName(const Names& names, TextView name) {
    const Text folded = ToLower(name);
    const auto found = names.lower_bound({folded, ""});
    return found != names.end() && found->first == folded ? found : names.end();
}

void DiskVolume::NameCame(const std::string& hostPath) {
    const auto known = names_.find(HostParent(hostPath));
    if (known == names_.end()) return;
    const std::string name = hostPath.substr(hostPath.rfind('/') + 1);
    known->second.emplace(ToLower(FromHostName(name)), name);
}

void DiskVolume::NameWent(const std::string& hostPath) {
    const auto known = names_.find(HostParent(hostPath));
    if (known == names_.end()) return;
    const std::string name = hostPath.substr(hostPath.rfind('/') + 1);
    known->second.erase({ToLower(FromHostName(name)), name});
}

void DiskVolume::ForgetNames() {
    names_.clear();
    folders_.clear();
}

Status DiskVolume::Missing(const std::string& hostFolder) const {
    const auto reason = unreadable_.find(hostFolder);
    return reason == unreadable_.end() ? Status{SystemError::FileNotFound} : reason->second;
}

bool DiskVolume::IsInside(const std::string& resolved) const {
    return std::ranges::any_of(allowed_, [&](const std::string& folder) {
        return resolved == folder || resolved.starts_with(folder == "/" ? folder : folder + '/');
    });
}

Result<std::string> DiskVolume::Follow(const std::string& link) {
    constexpr Status kNowhere{SystemError::CantResolveFilename};
    std::string resolved = RealPath(link);
    if (!resolved.empty()) {
        if (!IsInside(resolved)) return kNowhere;
        return resolved;
    }
    const std::string text = TextOfLink(link);
    const Text target = letters_.empty() ? Text() : WindowsTarget(text);
    if (!target.empty()) return FollowTo(target);
    // What the NTFS driver says where it knows no answer.
    if (text.starts_with("unsupported reparse")) return kNowhere;
    const std::string end = EndOfBrokenLink(link);
    return end.empty() || IsInside(end) ? Status{SystemError::FileNotFound} : kNowhere;
}

Result<std::string> DiskVolume::FollowTo(TextView target) {
    constexpr Status kNowhere{SystemError::CantResolveFilename};
    const bool isKnownDrive = letters_.contains(DriveLetter(target[0]));
    if (!isKnownDrive || linksFollowed_ >= kMostLinks) return kNowhere;
    ++linksFollowed_;
    auto place = Locate(target);
    --linksFollowed_;
    if (!place.IsOk()) return Status(place);
    return std::move(place.value.resolved);
}

Status DiskVolume::Describe(Place& place) {
    struct stat facts {};
    if (lstat(place.host.c_str(), &facts) != 0) return StatusOfErrno(errno);
    place.resolved = place.host;
    if (S_ISLNK(facts.st_mode)) {
        auto resolved = Follow(place.host);
        if (!resolved.IsOk()) return resolved;
        place.resolved = std::move(resolved.value);
        if (stat(place.resolved.c_str(), &facts) != 0) return StatusOfErrno(errno);
    }
    if (!S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode)) return {SystemError::FileNotFound};
    place.entry.isFolder = S_ISDIR(facts.st_mode);
    place.entry.size = place.entry.isFolder ? 0 : static_cast<std::uint64_t>(facts.st_size);
    place.entry.lastWrite = ToLocalDate({facts.st_mtim.tv_sec, 0});
    return {};
}

const std::string* DiskVolume::FindByShortName(const std::string& hostFolder, TextView name) {
    if (letters_.empty() || name.find(u'~') == TextView::npos || !WindowsPath::IsShortName(name)) {
        return nullptr;
    }
    const std::string* fitting = nullptr;
    bool isOnlyOne = true;
    for (const auto& [folded, hostName] : NamesIn(hostFolder)) {
        const std::optional<Text> kept = ReadShortName(hostFolder + '/' + hostName);
        if (kept && EqualsIgnoreCase(*kept, name)) return &hostName;
        if (kept || !MayBeShortNameOf(name, folded)) continue;
        isOnlyOne = fitting == nullptr;
        fitting = &hostName;
        if (!isOnlyOne) break;
    }
    return isOnlyOne ? fitting : nullptr;
}

Result<DiskVolume::Place> DiskVolume::LocateIn(const Place& folder, TextView name) {
    const Names& names = NamesIn(folder.resolved);
    const auto found = FindName(names, name);
    const std::string* hostName =
        found == names.end() ? FindByShortName(folder.resolved, name) : &found->second;
    if (hostName == nullptr) return Missing(folder.resolved);
    return PlaceOf(folder, *hostName);
}

Result<DiskVolume::Place> DiskVolume::PlaceOf(const Place& folder, const std::string& hostName) {
    Place place;
    place.host = folder.resolved + '/' + hostName;
    place.entry.path = WindowsPath::Join(folder.entry.path, FromHostName(hostName));
    const Status described = Describe(place);
    if (!described.IsOk()) return described;
    return place;
}

Result<DiskVolume::Place> DiskVolume::LocateDrive(char16_t letter) {
    const char16_t upper = DriveLetter(letter);
    Place drive;
    if (letters_.empty()) {
        drive.resolved = drives_;
        auto found = LocateIn(drive, TextView(&letter, 1));
        if (found.IsNotThere()) return Status{SystemError::PathNotFound};
        if (!found.IsOk()) return found;
        drive = std::move(found.value);
    } else {
        const auto known = letters_.find(upper);
        if (known == letters_.end()) {
            missed_.insert(upper);
            return Status{SystemError::PathNotFound};
        }
        drive.host = known->second;
        const Status described = Describe(drive);
        if (!described.IsOk()) return described;
    }
    drive.entry.path = Text(1, upper) + u":\\";
    return drive;
}

Result<DiskVolume::Place> DiskVolume::Locate(TextView path) {
    // Names such as "System" of a process stand for no file.
    if (path.size() < 3 || path[1] != u':' || path[2] != u'\\') {
        return Status{SystemError::PathNotFound};
    }
    const TextView parentPath = WindowsPath::Parent(path);
    if (parentPath.empty()) return LocateDrive(path[0]);
    const Text folded = ToLower(parentPath);
    const auto known = folders_.find(folded);
    if (known != folders_.end()) return LocateIn(known->second, WindowsPath::Name(path));
    const auto parent = Locate(parentPath);
    if (!parent.IsOk() && !parent.IsNotThere()) return Status(parent);
    if (!parent.IsOk() || !parent.value.entry.isFolder) return Status{SystemError::PathNotFound};
    folders_.emplace(folded, parent.value);
    return LocateIn(parent.value, WindowsPath::Name(path));
}

Result<std::string> DiskVolume::HostPath(TextView path) {
    auto place = Locate(path);
    if (!place.IsOk()) return Status(place);
    return std::move(place.value.resolved);
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
    for (auto name = names.begin(); name != names.end(); ++name) {
        if (name != names.begin() && std::prev(name)->first == name->first) continue;
        auto below = PlaceOf(place.value, name->second);
        if (below.IsOk()) entries.push_back(std::move(below.value.entry));
    }
    std::sort(entries.begin(), entries.end(), SortsBefore);
    return entries;
}

std::vector<VolumeEntry> DiskVolume::Streams(const VolumeEntry& file) {
    std::vector<VolumeEntry> streams;
    const auto folder = Locate(WindowsPath::Parent(file.path));
    if (!folder.IsOk()) return streams;
    const Text prefix = ToLower(WindowsPath::Name(file.path)) + u':';
    const Names& names = NamesIn(folder.value.resolved);
    for (auto name = names.lower_bound({prefix, ""});
         name != names.end() && name->first.starts_with(prefix); ++name) {
        if (name != names.begin() && std::prev(name)->first == name->first) continue;
        auto stream = PlaceOf(folder.value, name->second);
        if (stream.IsOk()) streams.push_back(std::move(stream.value.entry));
    }
    return streams;
}

bool DiskVolume::HasStream(const VolumeEntry& file, TextView name) {
    const auto place = Locate(file.path);
    return place.IsOk() && KeepsStream(place.value.resolved, name);
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
    return DiskFile::OpenToAppend(place.value.resolved, place.value.entry.path, *this);
}

Result<std::string> DiskVolume::HostFolder(TextView path) {
    const auto place = Locate(path);
    if (place.IsOk()) return place.value.resolved;
    if (!IsAssumed(path)) return Status(place);
    const TextView parent = WindowsPath::Parent(path);
    const auto above = parent.empty() ? Result<std::string>(drives_) : HostFolder(parent);
    if (!above.IsOk()) return above;
    if (parent.empty() && drives_.empty()) return Status(place);
    if (parent.empty()) mkdir(drives_.c_str(), 0777);
    const Text name = parent.empty() ? ToLower(path.substr(0, 1)) : Text(WindowsPath::Name(path));
    const std::string host = above.value + '/' + ToHostName(name);
    // What is there and wasn't found is no folder of the image, but perhaps a link out of it.
    if (mkdir(host.c_str(), 0777) != 0) {
        return Status{errno == EEXIST ? SystemError::AccessDenied : StatusOfErrno(errno).code};
    }
    NameCame(host);
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
    const std::string host = folder.value + '/' + ToHostName(WindowsPath::Name(path));
    return DiskFile::Create(host, path, *this);
}

bool DiskVolume::KeepWritten(DiskFile& file, std::uint64_t offset,
                             std::span<const std::uint8_t> bytes) {
    const bool isKept =
        journal_.NoteWritten({file.Name(), offset, Bytes(bytes.begin(), bytes.end())});
    if (isKept) unsettled_.insert(&file);
    return isKept;
}

Status DiskVolume::SettleFiles() {
    while (!unsettled_.empty()) {
        const Status flushed = (*unsettled_.begin())->FlushFileBuffers();
        if (!flushed.IsOk()) return flushed;
        ReachWritePoint("settled");
    }
    return {};
}

Status DiskVolume::SettleFilesAt(TextView path) {
    const bool isAnyThere = std::ranges::any_of(
        unsettled_, [&](const DiskFile* file) { return IsAtOrBelow(file->Name(), path); });
    return isAnyThere ? SettleFiles() : Status{};
}

Status DiskVolume::RedoWriting(const WrittenBytes& written) {
    const auto place = Locate(written.path);
    if (!place.IsOk()) return place.IsNotThere() ? Status{} : Status(place);
    const HostFile file(open(place.value.resolved.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    Bytes there(written.bytes.size());
    const auto offset = static_cast<off_t>(written.offset);
    const ssize_t count = pread(file.Get(), there.data(), there.size(), offset);
    if (count == static_cast<ssize_t>(there.size()) && there == written.bytes) return {};
    const HostFile changed(open(place.value.resolved.c_str(), O_WRONLY | O_CLOEXEC));
    if (!changed.IsOpen()) return StatusOfErrno(errno);
    ReachWritePoint("write again");
    if (lseek(changed.Get(), offset, SEEK_SET) < 0) return StatusOfErrno(errno);
    const Status again = WriteAll(
        changed.Get(), {reinterpret_cast<const char*>(written.bytes.data()), written.bytes.size()});
    if (!again.IsOk()) return again;
    return fsync(changed.Get()) == 0 ? Status{} : StatusOfErrno(errno);
}

Status DiskVolume::MakeFolder(TextView path) {
    const Status noted = journal_.NoteWriting();
    if (!noted.IsOk()) return noted;
    const auto folder = HostFolder(WindowsPath::Parent(path));
    if (!folder.IsOk()) return folder;
    ReachWritePoint("make folder");
    const std::string host = folder.value + '/' + ToHostName(WindowsPath::Name(path));
    if (mkdir(host.c_str(), 0777) != 0) return StatusOfErrno(errno);
    NameCame(host);
    return SyncHostFolder(folder.value);
}

Status DiskVolume::RedoRemoval(const Text& path) {
    const auto place = Locate(path);
    if (!place.IsOk()) return {};
    ReachWritePoint("unlink");
    if (unlink(place.value.host.c_str()) != 0) {
        const Status failed = StatusOfErrno(errno);
        ForgetNames();
        return failed;
    }
    NameWent(place.value.host);
    ReachWritePoint("unlinked");
    return SyncHostFolder(HostParent(place.value.host));
}

Status DiskVolume::Remove(const VolumeEntry& file) {
    const Status settled = SettleFilesAt(file.path);
    if (!settled.IsOk()) return settled;
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
    return RenameOnHost(from.value, to, folder.value);
}

/// What is known of names is kept only of a file that was moved for certain: a folder takes what is
/// below it along.
Status DiskVolume::RenameOnHost(const Place& from, const std::string& to,
                                const std::string& folder) {
    ReachWritePoint("rename");
    if (rename(from.host.c_str(), to.c_str()) != 0) {
        const Status failed = StatusOfErrno(errno);
        ForgetNames();
        return failed;
    }
    ReachWritePoint("renamed");
    NameWent(from.host);
    NameCame(to);
    Status synced = SyncHostFolder(folder);
    const std::string left = HostParent(from.host);
    if (synced.IsOk() && left != folder) synced = SyncHostFolder(left);
    if (from.entry.isFolder || !synced.IsOk()) ForgetNames();
    return synced;
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
    for (const auto& [source, target] : moves) {
        paths.emplace_back(source.path, target);
        for (const TextView path : {TextView(source.path), TextView(target)}) {
            const Status settled = SettleFilesAt(path);
            if (!settled.IsOk()) return settled;
        }
    }
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

Result<std::uint32_t> DiskVolume::Attributes(const VolumeEntry& entry) {
    const auto place = Locate(entry.path);
    if (!place.IsOk() && IsAssumed(entry.path)) return FileAttribute::Directory;
    if (!place.IsOk()) return Status(place);
    return ReadDosAttributes(place.value.resolved);
}

Status DiskVolume::SetAttributes(const VolumeEntry& entry, std::uint32_t attributes) {
    const auto place = Locate(entry.path);
    if (!place.IsOk()) return place;
    const Status noted = journal_.NoteWriting();
    if (!noted.IsOk()) return noted;
    ReachWritePoint("set attributes");
    return WriteDosAttributes(place.value.resolved, attributes);
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
