#pragma once

#include "platform/undo/UndoRecord.h"

namespace bkfd {

/// Who keeps what operations change. An `UndoMachine` is one while it is there.
class UndoKeeper {
  public:
    virtual ~UndoKeeper() = default;

    /// What is changed from now on, until `End`, belongs to one operation.
    virtual void Begin(TextView operation, std::optional<RecordId> undoes) = 0;
    virtual void End() = 0;
    /// Tells, before the end, whether the operation did all that it was to do. One that did is
    /// noted even if nothing had to be changed.
    virtual void Conclude(bool isWhole) = 0;
    /// The record of the running operation, or of the last one; 0 if nothing was changed.
    virtual RecordId Record() const = 0;
    /// Why changes of the running operation, or the last one, were refused: what they would have
    /// changed couldn't be kept. Success if all was kept.
    virtual Status Failure() const = 0;
};

/// Null where nothing is kept: in a dry run, say.
UndoKeeper* TheUndoKeeper();
/// Returns the one that was installed before, or null.
UndoKeeper* InstallUndoKeeper(UndoKeeper* keeper);

/// An operation of the program, as long as the object is there; one inside of another belongs to
/// that.
class RecordedOperation {
  public:
    explicit RecordedOperation(TextView operation, std::optional<RecordId> undoes = std::nullopt);
    ~RecordedOperation();
    RecordedOperation(const RecordedOperation&) = delete;
    RecordedOperation& operator=(const RecordedOperation&) = delete;

  private:
    bool isOutermost_;
};

}  // namespace bkfd
