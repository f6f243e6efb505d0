#pragma once

#include <variant>

#include "formats/HiveEditor.h"
#include "formats/HiveLog.h"
#include "platform/files/MappedFile.h"
#include "platform/hive/PagedWrite.h"
#include "platform/hive/RegistryFileError.h"
#include "platform/model/RegistryStore.h"

namespace bkfd {

/// The time of this computer as FILETIME.
std::uint64_t FileTimeNow();
/// Seconds since 1970, also from before that.
std::int64_t UnixTimeOf(std::uint64_t fileTime);
/// 0 for seconds that it can't hold.
std::uint64_t FileTimeOf(std::uint64_t unixTime);

/// A hive of the host, with what its logs hold: X.LOG, X.LOG1 and X.LOG2 beside X, in any case.
/// Nothing is read before it is asked for, and changes are kept in memory, until a `RegistryCommit`
/// writes them.
class HiveStore final : public RegistryStore {
  public:
    struct Options {
        /// The registry path that links in the hive know it by: "\Registry\Machine\SOFTWARE".
        Text mountedAt;
        /// FILETIME; the time of changes.
        HiveEditor::Clock clock = FileTimeNow;
        /// What the hive and its logs are read as, where a commit of them broke off. It is for
        /// reading alone.
        FormerFiles former = {};
    };
    using Opened = std::variant<std::unique_ptr<HiveStore>, RegistryFileError>;
    static Opened Open(const std::string& path, Options options);

    Result<std::uint64_t> LastWritten(TextView key) override;
    Result<RegistryValue> QueryValue(TextView key, TextView name) override;
    Result<std::vector<Text>> EnumKeys(TextView key) override;
    Result<std::vector<Text>> EnumValues(TextView key) override;
    Status MakeKey(TextView key) override;
    Status SetValue(TextView key, TextView name, const RegistryValue& value) override;
    Status DeleteValue(TextView key, TextView name) override;
    Status DeleteKey(TextView key) override;
    std::unique_ptr<RegistryStore> Fork() const override;

    const std::string& Path() const { return path_; }
    /// `Unrecovered`: the newest changes may be missing, and changes are refused (`WriteProtect`).
    HiveState State() const { return state_; }
    /// Clauses for people about the logs, and where the disk gave an error.
    std::vector<std::string> Notes() const;
    bool IsChanged() const { return isChanged_; }
    /// Whether a part of the file couldn't be read; zeros stand in its place, or nothing behind an
    /// end that comes too early.
    bool HasFailed() const { return file_.HasFailed() || isCut_; }

    // For who writes the hive.

    const struct stat& FactsWhenOpened() const { return file_.Facts(); }
    ByteView Content() const { return editor_->File(); }
    const std::set<std::size_t>& ChangedPages() const { return editor_->Cells().ChangedPages(); }
    /// The logs that were replayed, paths.
    const std::vector<std::string>& ReplayedLogs() const { return replayedLogs_; }
    /// Gives the base block the sequence numbers, time and checksum of a finished write.
    void Seal();
    /// Reads the file anew; all changes that aren't written are lost.
    std::optional<RegistryFileError> Reload();

  private:
    HiveStore(std::string path, Options options)
        : path_(std::move(path)), options_(std::move(options)) {}

    std::optional<RegistryFileError> Load();
    std::size_t SizeOf(const MappedFile& file, const std::string& path) const;
    bool Map(MappedFile& file, const std::string& path, std::size_t size) const;
    void ShowFormer(const MappedFile& file, const std::string& path) const;
    void Replay(const HiveRecovery& recovery);

    const Hive& View() const { return editor_->Cells().View(); }
    Result<HiveKey> Find(TextView path) const;
    Result<HiveKey> Step(const HiveKey& key, TextView name) const;
    bool TargetOf(const HiveKey& link, Text& path) const;
    Status FindToMake(TextView path, CellOffset& key, std::vector<Text>& missing) const;
    Status Finish(const HiveChange& change);

    std::string path_;
    Options options_;
    MappedFile file_;
    std::unique_ptr<HiveEditor> editor_;
    HiveState state_ = HiveState::Clean;
    std::uint32_t sequence_ = 0;
    std::vector<std::string> replayedLogs_;
    std::vector<std::string> notes_;
    bool isChanged_ = false;
    bool isCut_ = false;
};

/// The logs beside a hive, in the order of their names.
std::vector<std::string> FindHiveLogs(const std::string& hive);

}  // namespace bkfd
