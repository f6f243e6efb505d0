#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "platform/files/DiskFile.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// A move that is about to be made, by Windows paths.
using VolumeMoves = std::vector<std::pair<Text, Text>>;

/// What was written to a file at an offset.
struct WrittenBytes {
    Text path;  // Windows'
    std::uint64_t offset = 0;
    Bytes bytes;
};

/// Whether a Windows path names that file or folder, or something below it.
bool IsAtOrBelow(TextView path, TextView place);

/// Is told of changes of the drives before they are made, and of those of names afterwards too.
class DiskJournal {
  public:
    virtual ~DiskJournal() = default;
    /// Something is about to be made or written.
    virtual Status NoteWriting() = 0;
    virtual Status NoteMoves(const VolumeMoves& moves) = 0;
    virtual Status NoteRemoval(const Text& path) = 0;
    /// The noted change was made, or couldn't be.
    virtual void NoteOutcome(bool isDone) = 0;
    /// Something was written that must lie on the disk before what is noted next does. False if the
    /// file has to be flushed for that.
    virtual bool NoteWritten(const WrittenBytes& /*written*/) { return false; }
};

/// Letters of drives, in upper case, to the host's folders that hold their files.
using DriveFolders = std::map<char16_t, std::string>;

/// Drives in folders of the host, with names matched without regard to case: of names that differ
/// in case alone the first in byte order counts. Symbolic links are followed while they stay among
/// the drives, also those that name a path of Windows ("C:\Users"); others lead nowhere, which is
/// another answer than "not there".
class DiskVolume final : public Volume, private DiskFileOwner {
  public:
    /// The drives of an image: "DRIVES/c/..." holds the files of C:. Attributes are none of the
    /// disk's. `journal` must outlive the volume.
    DiskVolume(const std::string& drives, DiskJournal& journal);
    /// Drives of any folders. Attributes and short names are those that the disk keeps.
    DiskVolume(DriveFolders drives, DiskJournal& journal);

    /// Folders that are there, with those above them, even if nobody made them yet.
    void AssumeFolder(TextView path);
    /// Drives that are asked for and aren't here: upper-case letters.
    const std::set<char16_t>& MissedDrives() const { return missed_; }
    /// Where a file or folder lies on the host, links followed.
    Result<std::string> HostPath(TextView path);
    /// Makes a move that a crash may have kept from being made.
    Status RedoMoves(const VolumeMoves& moves);
    Status RedoRemoval(const Text& path);
    /// Makes sure that a file that is there holds the bytes.
    Status RedoWriting(const WrittenBytes& written);
    /// Flushes the open files of which the journal alone has the last bytes.
    Status SettleFiles();

    Result<VolumeEntry> Find(TextView path) override;
    Result<std::vector<VolumeEntry>> List(const VolumeEntry& folder) override;
    std::vector<VolumeEntry> Streams(const VolumeEntry& file) override;
    bool HasStream(const VolumeEntry& file, TextView name) override;
    Result<std::unique_ptr<OpenFile>> OpenToRead(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> OpenToAppend(const VolumeEntry& file) override;
    Result<std::unique_ptr<OpenFile>> Create(TextView path) override;
    Status Remove(const VolumeEntry& file) override;
    Status Move(const std::vector<std::pair<VolumeEntry, Text>>& moves) override;
    Status MakeFolder(TextView path) override;
    bool KeepsAttributes() const override { return !letters_.empty(); }
    Result<std::uint32_t> Attributes(const VolumeEntry& entry) override;
    Status SetAttributes(const VolumeEntry& entry, std::uint32_t attributes) override;
    /// Links are named, what lies below one is not.
    std::vector<VolumeEntry> All() override;

  private:
    /// Lower-cased, with the host's names. Of those that differ in case alone only the first
    /// counts.
    using Names = std::set<std::pair<Text, std::string>>;
    struct Place {
        VolumeEntry entry;
        std::string host;      // of the name itself, even if it is a link
        std::string resolved;  // of what it leads to
    };
    class Handle;

    /// Empty for a folder that can't be listed, which is then in `unreadable_`.
    const Names& NamesIn(const std::string& hostFolder);
    static Names::const_iterator FindName(const Names& names, TextView name);
    /// What is known of the folder is told of a name that came or went.
    void NameCame(const std::string& hostPath);
    void NameWent(const std::string& hostPath);
    void ForgetNames();
    /// What it is that a folder lacks a name.
    Status Missing(const std::string& hostFolder) const;
    bool IsInside(const std::string& hostPath) const;
    /// Fills in what lies at a host path. It can't be resolved if a link leads out, whether or not
    /// this system has something there.
    Status Describe(Place& place);
    /// Where a link leads; `CantResolveFilename` if that is no place among the drives.
    Result<std::string> Follow(const std::string& link);
    Result<std::string> FollowTo(TextView target);
    Result<Place> Locate(TextView path);
    Result<Place> LocateDrive(char16_t letter);
    Result<Place> LocateIn(const Place& folder, TextView name);
    Result<Place> PlaceOf(const Place& folder, const std::string& hostName);
    /// The host's name of the one file that has the short name; null if there is none or several.
    const std::string* FindByShortName(const std::string& hostFolder, TextView name);
    bool IsAssumed(TextView path) const;
    /// The host's folder of a Windows folder, made if it was only assumed.
    Result<std::string> HostFolder(TextView path);
    Status Rename(const Text& source, const Text& target);
    Status RenameOnHost(const Place& from, const std::string& to, const std::string& folder);
    void FileNamed(const std::string& hostPath) override { NameCame(hostPath); }
    bool KeepWritten(DiskFile& file, std::uint64_t offset,
                     std::span<const std::uint8_t> bytes) override;
    void FileSettled(DiskFile& file) override { unsettled_.erase(&file); }
    /// Before the name of the file, or of a folder above it, changes.
    Status SettleFilesAt(TextView path);
    void Collect(const VolumeEntry& folder, std::vector<VolumeEntry>& out);

    std::string drives_;    // of an image, else empty
    DriveFolders letters_;  // of all others
    std::set<char16_t> missed_;
    std::vector<std::string> allowed_;  // real folders that links may lead into
    int linksFollowed_ = 0;             // one within the other, at this moment
    DiskJournal& journal_;
    std::vector<Text> assumed_;  // lower-cased
    std::unordered_map<std::string, Names> names_;
    std::unordered_map<std::string, Status> unreadable_;  // why not
    std::unordered_map<Text, Place> folders_;  // by lower-cased path, those that were gone through
    std::unordered_set<std::string> swept_;    // host folders without leftovers of a crash
    std::set<DiskFile*> unsettled_;            // open files that the journal has bytes of
};

}  // namespace bkfd
