#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/hive/HostErrors.h"
#include "platform/hive/RecoverJournal.h"

namespace bkfd {
namespace {

using RecoveryError = std::optional<RegistryFileError>;

/// One file of a commit that broke off.
class BrokenOffFile {
  public:
    BrokenOffFile(std::string root, const JournalEntry& entry)
        : entry_(entry), path_(std::move(root) + '/' + entry.path) {}

    bool IsBefore() const { return isBefore_; }
    bool IsAfter() const { return isAfter_; }
    const std::string& Path() const { return path_; }
    FormerFile Former() const { return {before_, entry_.sizeBefore}; }

    /// Finds out what the file holds; an error if that is nothing that the commit has made. It is
    /// opened with `access`, O_RDONLY or O_RDWR.
    RecoveryError Look(const std::string& root, int access) {
        file_ = OpenBelow(root, entry_.path, access);
        struct stat facts {};
        if (!file_.IsOpen() || fstat(file_.Get(), &facts) != 0) return ErrnoError(path_);
        size_ = static_cast<std::uint64_t>(facts.st_size);
        before_ = entry_.PagesBefore();
        const auto now = NowHash();
        if (!now) return ErrnoError(path_);
        isBefore_ = size_ == entry_.sizeBefore && *now == entry_.before;
        isAfter_ = size_ == entry_.sizeAfter && *now == entry_.after;
        const bool isTorn = entry_.kind != JournalKind::Whole && ArePagesOurs();
        if (isBefore_ || isAfter_ || isTorn) return std::nullopt;
        return RegistryFileError{SystemError::SharingViolation, path_,
                                 "was written to by somebody else after a write of it broke off"};
    }

    RecoveryError RollBack() {
        if (entry_.kind == JournalKind::Whole) RemoveUnfinishedReplacement(path_);
        if (isBefore_) return std::nullopt;
        Status status;
        if (entry_.kind == JournalKind::Whole) {
            std::string content;
            for (const auto& [number, page] : before_) content.append(page.begin(), page.end());
            status = ReplaceHostFile(path_, content);
        } else {
            Bytes mark;
            if (entry_.kind == JournalKind::Hive) mark = MarkedAsDirty(before_.at(0));
            status = WritePages(file_.Get(), before_, mark, entry_.sizeBefore);
        }
        if (status.IsOk()) return std::nullopt;
        return RegistryFileError{status.code, path_, "can't be put back"};
    }

  private:
    /// Whether each sector of the pages is that from before or from afterwards.
    bool ArePagesOurs() const {
        const auto now = ReadPages(file_.Get(), entry_.AllPages(), size_);
        return now && std::ranges::all_of(entry_.pages, [&](const auto& page) {
                   return IsPageOurs(page.first, page.second, now->at(page.first));
               });
    }

    std::optional<Sha256> NowHash() const {
        if (entry_.kind == JournalKind::Whole) {
            const auto content = ReadHostFile(path_);
            if (!content) return std::nullopt;
            return HashBytes(ViewOf(*content));
        }
        const auto pages = ReadPages(file_.Get(), entry_.AllPages(), size_);
        if (!pages) return std::nullopt;
        return HashPages(*pages, size_);
    }

    bool IsPageOurs(std::uint64_t number, const JournalPage& page, ByteView now) const {
        const auto sums = SectorChecksums(now);
        for (std::size_t i = 0; i < kFilePage / kFileSector; ++i) {
            const std::size_t at = i * kFileSector;
            // Behind the former end is nothing that anybody has lost.
            if (number * kFilePage + at >= entry_.sizeBefore) break;
            const ByteView sector = Part(now, at);
            const bool isCut = sector.empty() && number * kFilePage + at >= entry_.sizeAfter;
            const bool isFormer = std::ranges::equal(sector, Part(page.before, at));
            const bool isNew = i < page.after.size() && i < sums.size() && page.after[i] == sums[i];
            if (!isCut && !isFormer && !isNew && !IsMark(number, i, sector)) return false;
        }
        return true;
    }

    static ByteView Part(ByteView page, std::size_t at) {
        return at < page.size() ? page.subspan(at, std::min(kFileSector, page.size() - at))
                                : ByteView();
    }

    bool IsMark(std::uint64_t page, std::size_t sector, ByteView now) const {
        return entry_.kind == JournalKind::Hive && page == 0 && sector == 0 &&
               std::ranges::equal(now, MarkedAsDirty(before_.at(0)));
    }

    const JournalEntry& entry_;
    std::string path_;
    HostFile file_;
    FilePages before_;
    std::uint64_t size_ = 0;
    bool isBefore_ = false;
    bool isAfter_ = false;
};

RecoveryError RemoveJournal(const std::string& path) {
    ReachWritePoint("remove the journal");
    if (unlink(path.c_str()) != 0) return ErrnoError(path);
    const Status synced = SyncHostFolder(HostParent(path));
    if (synced.IsOk()) return std::nullopt;
    return RegistryFileError{synced.code, path, "can't be removed for good"};
}

/// What a hive's entry needs so that it can be put back.
bool IsUsable(const JournalEntry& entry) {
    if (entry.kind != JournalKind::Hive) return true;
    const auto first = entry.pages.find(0);
    return first != entry.pages.end() && first->second.before.size() >= hive::kBaseBlockUsed;
}

/// A journal, and what its files hold by now.
class BrokenOffCommit {
  public:
    /// Looks at the files of a commit that isn't finished.
    RecoveryError Look(const std::string& root, const std::string& journal, int access) {
        const auto content = ReadHostFile(journal);
        if (!content) return ErrnoError(journal);
        auto read = ReadJournal(ViewOf(*content));
        if (!read || !std::ranges::all_of(read->entries, IsUsable)) {
            return RegistryFileError{SystemError::InvalidData, journal, "is damaged"};
        }
        journal_ = *std::move(read);
        if (journal_.isFinished) return std::nullopt;
        for (const JournalEntry& entry : journal_.entries) {
            files_.emplace_back(root, entry);
            if (RecoveryError error = files_.back().Look(root, access)) return error;
        }
        return std::nullopt;
    }

    bool IsFinished() const { return journal_.isFinished; }
    bool AreAllAfter() const { return std::ranges::all_of(files_, &BrokenOffFile::IsAfter); }
    std::vector<BrokenOffFile>& Files() { return files_; }

  private:
    Journal journal_;
    std::vector<BrokenOffFile> files_;
};

}  // namespace

std::variant<FormerFiles, RegistryFileError> ReadThroughJournal(const std::string& root,
                                                                const std::string& journal) {
    BrokenOffCommit commit;
    if (RecoveryError error = commit.Look(root, journal, O_RDONLY)) return *error;
    FormerFiles former;
    if (commit.AreAllAfter()) return former;
    for (const BrokenOffFile& file : commit.Files()) {
        if (!file.IsBefore()) former.emplace(file.Path(), file.Former());
    }
    return former;
}

std::variant<RegistryRecovery, RegistryFileError> RecoverJournal(const std::string& root,
                                                                 const std::string& journal,
                                                                 MayFinish mayFinish) {
    BrokenOffCommit commit;
    if (RecoveryError error = commit.Look(root, journal, O_RDWR)) return *error;
    if (commit.IsFinished()) return RegistryRecovery::Nothing;
    if (commit.AreAllAfter() && mayFinish == MayFinish::Yes) {
        const Status finished = FinishJournalFile(journal);
        if (finished.IsOk()) return RegistryRecovery::Finished;
        return RegistryFileError{finished.code, journal, "can't be written"};
    }
    for (BrokenOffFile& file : commit.Files()) {
        if (RecoveryError error = file.RollBack()) return *error;
    }
    if (RecoveryError error = RemoveJournal(journal)) return *error;
    return RegistryRecovery::RolledBack;
}

std::variant<RegistryRecovery, RegistryFileError> RecoverRegistry(const std::string& root,
                                                                  const std::string& journal) {
    return RecoverJournal(root, journal, MayFinish::Yes);
}

std::vector<std::string> FindUnfinishedJournals(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::string path = entry.path().string();
        if (entry.path().extension() == kJournalSuffix && IsUnfinishedJournal(path)) {
            found.push_back(path);
        }
    }
    std::ranges::sort(found);
    return found;
}

}  // namespace bkfd
