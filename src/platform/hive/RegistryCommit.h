#pragma once

#include <string_view>

#include "platform/hive/HiveStore.h"
#include "platform/hive/JournalFile.h"

namespace bkfd {

/// Writes the changed registry files of one operation, so that a crash at any point leaves what the
/// next run can finish or roll back (`RecoverRegistry`).
///
/// Hives are written in place, page by page; files of text are written beside, synced and renamed.
/// First of all the journal gets what all of them held and lies on the disk. It is kept when the
/// commit is done: where a later commit is to write what a file held before an earlier one, then
/// exactly the former pages are put back.
class RegistryCommit {
  public:
    /// `root` is the folder that the files lie below, a real path; `journal` a path for the
    /// journal, in a folder that is there. Files are named in it by their paths below the root.
    RegistryCommit(std::string root, std::string journal)
        : root_(std::move(root)), journalPath_(std::move(journal)) {}

    /// A hive, if it was changed. The store must live until `Run`, which makes it read the file
    /// anew.
    void Add(HiveStore& hive);
    /// A file that is replaced as a whole, by its path on the host. It must still hold `before`.
    void AddText(std::string path, std::string before, std::string content);
    /// Journals of earlier commits, the newest first.
    void SetKept(std::vector<std::string> journals) { kept_ = std::move(journals); }

    /// Writes. After an error the files hold what they held, unless its message says otherwise.
    std::optional<RegistryFileError> Run();

    /// Whether a journal was written, since there was something to write.
    bool HasJournal() const { return hasJournal_; }
    /// Whether each file got its former content, to the byte, out of an earlier journal.
    bool HasPutAllBack() const { return hasPutAllBack_; }

  private:
    using Error = std::optional<RegistryFileError>;

    struct TextChange {
        std::string path;
        std::string before;
        std::string content;
    };
    /// What becomes of one file.
    struct Plan {
        JournalEntry entry;
        HostFile file;        // of one that is written in place
        FilePages pages;      // to be written
        std::string content;  // of one that is replaced
        HiveStore* hive = nullptr;
    };
    /// A former content of a hive out of earlier journals, and its logs as they were then.
    struct Former {
        FilePages pages;
        std::uint64_t size = 0;
        std::map<std::string, const JournalEntry*> logs;  // by path below the root
    };

    std::string Below(const std::string& path) const;
    Error Open(Plan& plan, const std::string& path) const;
    Error PlanAll();
    Error PlanHive(HiveStore& hive);
    Error PlanText(const TextChange& change);
    Error PlanFile(const std::string& path, FilePages pages, std::uint64_t size);
    Error Note(Plan& plan) const;
    Error WriteFiles();
    Error Write(Plan& plan) const;
    RegistryFileError GiveUp(RegistryFileError error);

    const std::vector<Journal>& KeptJournals();
    static bool IsLeftBy(const JournalEntry& entry, const HostFile& file, const Former& content);
    bool FindFormer(const Plan& plan, const HiveStore& hive, Former& former);
    bool IsFormerOf(const HiveStore& hive, const Former& former) const;
    bool AreLogsAsLeft(const Former& former) const;
    bool FindFormerText(const TextChange& change, std::string& former);

    std::string root_;
    std::string journalPath_;
    std::vector<HiveStore*> hives_;
    std::vector<TextChange> texts_;
    std::vector<std::string> kept_;
    std::optional<std::vector<Journal>> keptJournals_;
    std::vector<Plan> plans_;
    bool hasJournal_ = false;
    bool hasPutAllBack_ = true;
};

/// What was done about a commit that broke off.
enum class RegistryRecovery {
    Nothing,     // the journal is that of a finished commit
    Finished,    // all files are as they were to become
    RolledBack,  // all files are as they were before
};

/// How the names of journals end.
inline constexpr std::string_view kJournalSuffix = ".registry";
/// The journals in a folder whose commits broke off, by their names; only looks.
std::vector<std::string> FindUnfinishedJournals(const std::string& folder);
/// Deals with one. If somebody else has written to a file since, it is an error and the journal
/// stays.
std::variant<RegistryRecovery, RegistryFileError> RecoverRegistry(const std::string& root,
                                                                  const std::string& journal);
/// What the files of one held before it, those of them that hold something else now; none where a
/// recovery would leave all as it is. Only looks; an error as above.
std::variant<FormerFiles, RegistryFileError> ReadThroughJournal(const std::string& root,
                                                                const std::string& journal);

}  // namespace bkfd
