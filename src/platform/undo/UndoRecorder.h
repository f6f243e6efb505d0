#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/undo/UndoRecord.h"

namespace bkfd {

/// Writes the record of the running operation: opened with its first change, each change on the
/// disk before `Note` returns. While it is open, other programs can't write one.
class UndoRecorder {
  public:
    /// `program` is the program's version.
    UndoRecorder(Machine& machine, Text program)
        : machine_(machine), program_(std::move(program)) {}
    ~UndoRecorder() { End(); }
    UndoRecorder(const UndoRecorder&) = delete;
    UndoRecorder& operator=(const UndoRecorder&) = delete;

    void Begin(TextView operation, std::optional<RecordId> undoes);
    void End();
    void Conclude(bool isWhole);

    /// Makes sure that there is a record. After a failure nothing is noted any more, and all that
    /// is asked fails in the same way, until the operation's end.
    Status Open();
    Status Note(const std::vector<UndoChange>& changes);
    /// Tells what became of the change that was noted last, and returns it. A refusal counts until
    /// the same change is made after all.
    Status Tell(Status outcome);

    /// A name for a file that is kept for the next change; the record must be open.
    Text KeptName() const;
    /// Nothing is recorded of what happens now.
    bool IsOff() const { return operation_.empty(); }
    RecordId Id() const { return id_; }
    Status Failure() const { return failure_; }

    /// The names of the key's values as they were when the first of them was deleted, by their
    /// lower-cased forms; null before that.
    std::map<Text, Text>* NamesIn(const Text& place);
    void KeepNames(const Text& place, const std::vector<NamedRegistryValue>& names);

  private:
    Status Create();
    void Discard();
    Status CheckIsAlone(RecordId newest);
    Status Append(const std::string& lines);
    Status Settle();
    std::string Head(RecordId id);

    Machine& machine_;
    Text program_;
    Text operation_{UndoOperation::kOther};
    std::optional<RecordId> undoes_;
    bool isBegun_ = false;
    std::unique_ptr<OpenFile> file_;
    RecordId id_ = 0;
    std::string head_;  // until it is written with the first change
    std::size_t count_ = 0;
    Text lastTry_;            // of the change that was noted last
    std::set<Text> refused_;  // and not made later
    bool isWhole_ = true;
    bool isConcluded_ = false;
    Status failure_;
    std::map<Text, std::map<Text, Text>> names_;
};

}  // namespace bkfd
