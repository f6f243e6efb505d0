#pragma once

#include <functional>
#include <utility>

#include "platform/undo/RecordedOperation.h"

namespace bkfd {

/// For a machine that keeps changes in memory until they are written at once: writes them at the
/// end of each operation, before its record says that the operation is complete. After a crash in
/// between the record is one of an operation that was interrupted, and tells of no undo that isn't
/// on the disk. It is the installed keeper as long as it is there.
class CommittingKeeper final : public UndoKeeper {
  public:
    /// `commit` returns whether all was written, and tells itself what failed.
    CommittingKeeper(UndoKeeper& target, std::function<bool()> commit)
        : target_(target), commit_(std::move(commit)), before_(InstallUndoKeeper(this)) {}
    ~CommittingKeeper() override { InstallUndoKeeper(before_); }
    CommittingKeeper(const CommittingKeeper&) = delete;
    CommittingKeeper& operator=(const CommittingKeeper&) = delete;

    void Begin(TextView operation, std::optional<RecordId> undoes) override {
        target_.Begin(operation, undoes);
    }
    void End() override {
        if (!commit_()) target_.Conclude(false);
        target_.End();
    }
    void Conclude(bool isWhole) override { target_.Conclude(isWhole); }
    RecordId Record() const override { return target_.Record(); }
    Status Failure() const override { return target_.Failure(); }

  private:
    UndoKeeper& target_;
    std::function<bool()> commit_;
    UndoKeeper* before_;
};

}  // namespace bkfd
