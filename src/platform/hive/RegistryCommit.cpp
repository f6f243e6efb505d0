#include "platform/hive/RegistryCommit.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "platform/hive/HostErrors.h"
#include "platform/hive/RecoverJournal.h"
#include "platform/hive/SameContent.h"

namespace bkfd {
namespace {

constexpr std::size_t kRoomForLogs = std::size_t{64} << 20;

RegistryFileError Failed(const std::string& path, Status status, const char* what) {
    return {status.code, path, what};
}

FilePages Split(ByteView content) {
    FilePages pages;
    for (std::size_t at = 0; at < content.size(); at += kFilePage) {
        const ByteView page = content.subspan(at, std::min(kFilePage, content.size() - at));
        pages[at / kFilePage].assign(page.begin(), page.end());
    }
    return pages;
}

Bytes Join(const FilePages& pages) {
    Bytes content;
    for (const auto& [number, page] : pages) {
        content.insert(content.end(), page.begin(), page.end());
    }
    return content;
}

bool IsSameLetter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

bool IsLogOf(const std::string& path, const std::string& hive) {
    return std::ranges::any_of(
        std::initializer_list<const char*>{".log", ".log1", ".log2"},
        [&](const char* end) { return std::ranges::equal(path, hive + end, IsSameLetter); });
}

bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

void RegistryCommit::Add(HiveStore& hive) {
    if (hive.IsChanged()) hives_.push_back(&hive);
}

void RegistryCommit::AddText(std::string path, std::string before, std::string content) {
    if (before != content) {
        texts_.push_back({std::move(path), std::move(before), std::move(content)});
    }
}

std::optional<RegistryFileError> RegistryCommit::Run() {
    if (Error error = PlanAll()) return error;
    if (plans_.empty()) return std::nullopt;
    Journal journal;
    for (const Plan& plan : plans_) journal.entries.push_back(plan.entry);
    const Status created = CreateJournalFile(journalPath_, journal);
    if (!created.IsOk()) {
        return Failed(journalPath_, created, "can't be written, so nothing was changed");
    }
    hasJournal_ = true;
    if (Error error = WriteFiles()) return GiveUp(*std::move(error));
    plans_.clear();  // some file systems note the time of a write when the file is closed
    for (HiveStore* const hive : hives_) {
        if (Error error = hive->Reload()) return error;
    }
    return std::nullopt;
}

/// Puts back what was written so far.
RegistryFileError RegistryCommit::GiveUp(RegistryFileError error) {
    const auto recovered = RecoverJournal(root_, journalPath_, MayFinish::No);
    if (const auto* const failed = std::get_if<RegistryFileError>(&recovered)) {
        error.message += ", and " + failed->file + " " + failed->message +
                         "; what was there is kept in " + journalPath_ +
                         ", and the next start tries to put it back";
    } else {
        error.message += "; everything is as it was before";
        hasJournal_ = false;
    }
    return error;
}

// ---------------------------------------------------------------- what becomes of each file

RegistryCommit::Error RegistryCommit::PlanAll() {
    for (HiveStore* const hive : hives_) {
        if (Error error = PlanHive(*hive)) return error;
    }
    for (const TextChange& change : texts_) {
        if (Error error = PlanText(change)) return error;
    }
    return std::nullopt;
}

/// Empty for a path that doesn't lie below the root.
std::string RegistryCommit::Below(const std::string& path) const {
    const std::string root = root_.ends_with('/') ? root_ : root_ + '/';
    return path.starts_with(root) ? path.substr(root.size()) : std::string();
}

RegistryCommit::Error RegistryCommit::Open(Plan& plan, const std::string& path) const {
    plan.entry.path = Below(path);
    plan.file = OpenBelow(root_, plan.entry.path, O_RDWR);
    struct stat facts {};
    if (!plan.file.IsOpen() || fstat(plan.file.Get(), &facts) != 0) return ErrnoError(path);
    plan.entry.sizeBefore = static_cast<std::uint64_t>(facts.st_size);
    if (plan.hive != nullptr && !IsSameFile(facts, plan.hive->FactsWhenOpened())) {
        return Failed(path, {SystemError::SharingViolation}, "was changed by somebody else");
    }
    return std::nullopt;
}

RegistryCommit::Error RegistryCommit::PlanHive(HiveStore& hive) {
    hive.Seal();
    const ByteView content = hive.Content();
    Plan plan;
    plan.hive = &hive;
    if (Error error = Open(plan, hive.Path())) return error;
    Former former;
    if (FindFormer(plan, hive, former)) {
        plan.pages = std::move(former.pages);
        plan.entry.sizeAfter = former.size;
        for (const auto& [path, log] : former.logs) {
            if (Error error = PlanFile(root_ + '/' + path, log->PagesBefore(), log->sizeBefore)) {
                return error;
            }
        }
    } else {
        hasPutAllBack_ = false;
        for (const std::size_t page : hive.ChangedPages()) {
            const std::size_t at = page * kFilePage;
            if (at >= content.size()) continue;
            const ByteView bytes = content.subspan(at, std::min(kFilePage, content.size() - at));
            plan.pages[page].assign(bytes.begin(), bytes.end());
        }
        plan.entry.sizeAfter = content.size();
        // They would be replayed over what is newer.
        for (const std::string& log : hive.ReplayedLogs()) {
            if (Error error = PlanFile(log, {}, 0)) return error;
        }
    }
    if (Error error = Note(plan)) return error;
    if (hive.HasFailed()) {
        return Failed(hive.Path(), {SystemError::IoDevice},
                      "has a part that the disk doesn't give");
    }
    plans_.push_back(std::move(plan));
    return std::nullopt;
}

RegistryCommit::Error RegistryCommit::PlanFile(const std::string& path, FilePages pages,
                                               std::uint64_t size) {
    Plan plan;
    plan.entry.kind = JournalKind::Pages;
    plan.entry.sizeAfter = size;
    plan.pages = std::move(pages);
    if (Error error = Open(plan, path)) return error;
    if (Error error = Note(plan)) return error;
    if (!plan.pages.empty() || size != plan.entry.sizeBefore) plans_.push_back(std::move(plan));
    return std::nullopt;
}

/// Notes for the journal what the file holds before and afterwards.
RegistryCommit::Error RegistryCommit::Note(Plan& plan) const {
    JournalEntry& entry = plan.entry;
    const std::string path = root_ + '/' + entry.path;
    FilePages touched = plan.pages;
    if (entry.kind == JournalKind::Hive) touched[0];
    for (std::uint64_t page = entry.sizeAfter / kFilePage; page * kFilePage < entry.sizeBefore;
         ++page) {
        touched[page];
    }
    const auto before = ReadPages(plan.file.Get(), touched, entry.sizeBefore);
    if (!before) return ErrnoError(path);
    FilePages after;
    for (const auto& [number, bytes] : *before) {
        const auto planned = plan.pages.find(number);
        const bool isChanged = planned == plan.pages.end() || planned->second != bytes;
        // That of a hive is written in any case, to end the mark of the write.
        if (!isChanged && (number != 0 || entry.kind != JournalKind::Hive)) {
            plan.pages.erase(planned);
            continue;
        }
        JournalPage& page = entry.pages[number];
        page.before = bytes;
        if (planned != plan.pages.end()) page.after = SectorChecksums(planned->second);
        after[number] = planned != plan.pages.end() ? planned->second : Bytes();
    }
    entry.before = HashPages(entry.AllPages(), entry.sizeBefore);
    entry.after = HashPages(after, entry.sizeAfter);
    return std::nullopt;
}

RegistryCommit::Error RegistryCommit::PlanText(const TextChange& change) {
    Plan plan;
    plan.entry.kind = JournalKind::Whole;
    if (Error error = Open(plan, change.path)) return error;
    plan.content = change.content;
    if (!FindFormerText(change, plan.content)) hasPutAllBack_ = false;
    const auto now = ReadHostFile(change.path);
    if (!now) return ErrnoError(change.path);
    if (*now != change.before) {
        return Failed(change.path, {SystemError::SharingViolation}, "was changed by somebody else");
    }
    plan.entry.sizeBefore = now->size();
    plan.entry.sizeAfter = plan.content.size();
    plan.entry.before = HashBytes(ViewOf(*now));
    plan.entry.after = HashBytes(ViewOf(plan.content));
    for (auto& [number, page] : Split(ViewOf(*now))) plan.entry.pages[number].before = page;
    plans_.push_back(std::move(plan));
    return std::nullopt;
}

// ---------------------------------------------------------------- writing

RegistryCommit::Error RegistryCommit::WriteFiles() {
    for (Plan& plan : plans_) {
        if (Error error = Write(plan)) return error;
    }
    const Status finished = FinishJournalFile(journalPath_);
    if (!finished.IsOk()) return Failed(journalPath_, finished, "can't be written");
    return std::nullopt;
}

RegistryCommit::Error RegistryCommit::Write(Plan& plan) const {
    const std::string path = root_ + '/' + plan.entry.path;
    Status status;
    if (plan.entry.kind == JournalKind::Whole) {
        status = ReplaceHostFile(path, plan.content);
    } else {
        Bytes mark;
        if (plan.entry.kind == JournalKind::Hive) {
            mark = MarkedAsDirty(plan.entry.pages.at(0).before);
        }
        status = WritePages(plan.file.Get(), plan.pages, mark, plan.entry.sizeAfter);
    }
    if (status.IsOk()) return std::nullopt;
    return Failed(path, status,
                  status.code == SystemError::DiskFull ? "can't be written: the disk is full"
                                                       : "can't be written");
}

// ---------------------------------------------------------------- former contents

const std::vector<Journal>& RegistryCommit::KeptJournals() {
    if (keptJournals_) return *keptJournals_;
    keptJournals_.emplace();
    for (const std::string& path : kept_) {
        const auto content = ReadHostFile(path);
        if (!content) continue;
        auto journal = ReadJournal(ViewOf(*content));
        if (journal && journal->isFinished) keptJournals_->push_back(*std::move(journal));
    }
    return *keptJournals_;
}

/// Whether an earlier commit left that content: the file's, but for pages of another time.
bool RegistryCommit::IsLeftBy(const JournalEntry& entry, const HostFile& file,
                              const Former& content) {
    if (entry.sizeAfter != content.size) return false;
    auto pages = ReadPages(file.Get(), entry.AllPages(), content.size);
    if (!pages) return false;
    for (auto& [number, bytes] : *pages) {
        const auto former = content.pages.find(number);
        if (former != content.pages.end()) bytes = former->second;
    }
    return HashPages(*pages, content.size) == entry.after;
}

/// Goes back from commit to commit until the file held what it is to hold now.
bool RegistryCommit::FindFormer(const Plan& plan, const HiveStore& hive, Former& former) {
    former.size = plan.entry.sizeBefore;
    for (const Journal& journal : KeptJournals()) {
        const auto entry = std::ranges::find(journal.entries, plan.entry.path, &JournalEntry::path);
        if (entry == journal.entries.end()) continue;
        if (entry->kind != JournalKind::Hive || !IsLeftBy(*entry, plan.file, former)) return false;
        for (auto& [number, page] : entry->PagesBefore()) former.pages[number] = page;
        former.size = entry->sizeBefore;
        for (const JournalEntry& other : journal.entries) {
            const bool isLog =
                other.kind == JournalKind::Pages && IsLogOf(other.path, plan.entry.path);
            if (isLog) former.logs[other.path] = &other;
        }
        std::erase_if(former.pages,
                      [&](const auto& page) { return page.first * kFilePage >= former.size; });
        if (IsFormerOf(hive, former)) return AreLogsAsLeft(former);
    }
    return false;
}

/// Whether the former content, with its logs, is what the hive is to hold, and is whole.
bool RegistryCommit::IsFormerOf(const HiveStore& hive, const Former& former) const {
    MappedFile image;
    if (!image.Open(hive.Path(), former.size + kRoomForLogs)) return false;
    const auto bytes = image.Bytes();
    for (const auto& [number, page] : former.pages) {
        std::ranges::copy(page, bytes.begin() + static_cast<std::ptrdiff_t>(number * kFilePage));
    }
    std::vector<Bytes> logs;
    for (const auto& [path, entry] : former.logs) logs.push_back(Join(entry->PagesBefore()));
    const std::vector<ByteView> views(logs.begin(), logs.end());
    const HiveRecovery recovery = PlanHiveRecovery(bytes.first(former.size), views);
    if (recovery.size > bytes.size()) return false;
    ApplyHiveRecovery(recovery, bytes);
    const auto then = Hive::Open(bytes.first(recovery.size));
    const auto wanted = Hive::Open(hive.Content());
    if (!std::holds_alternative<Hive>(then) || !std::holds_alternative<Hive>(wanted)) return false;
    return HoldTheSame(std::get<Hive>(then), std::get<Hive>(wanted));
}

/// A hive that was dirty is worth nothing without its logs.
bool RegistryCommit::AreLogsAsLeft(const Former& former) const {
    return std::ranges::all_of(former.logs, [&](const auto& log) {
        const HostFile file = OpenBelow(root_, log.first, O_RDONLY);
        struct stat facts {};
        return file.IsOpen() && fstat(file.Get(), &facts) == 0 &&
               IsLeftBy(*log.second, file, {{}, static_cast<std::uint64_t>(facts.st_size), {}});
    });
}

bool RegistryCommit::FindFormerText(const TextChange& change, std::string& former) {
    Sha256 hash = HashBytes(ViewOf(change.before));
    const std::string path = Below(change.path);
    for (const Journal& journal : KeptJournals()) {
        const auto entry = std::ranges::find(journal.entries, path, &JournalEntry::path);
        if (entry == journal.entries.end()) continue;
        if (entry->kind != JournalKind::Whole || entry->after != hash) return false;
        const Bytes content = Join(entry->PagesBefore());
        hash = entry->before;
        if (HashBytes(content) != hash) return false;
        if (!HoldTheSameText(content, ViewOf(change.content))) continue;
        former.assign(content.begin(), content.end());
        return true;
    }
    return false;
}

}  // namespace bkfd
