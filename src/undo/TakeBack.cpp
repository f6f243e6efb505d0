#include "undo/TakeBack.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "platform/undo/RecordedOperation.h"
#include "services/SysUtil.h"
#include "undo/UndoPlace.h"
#include "undo/UndoRecords.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;
using Outcome = UndoStep::Outcome;

/// Undoes of the record that were interrupted or left something, the newest first, up to one that
/// took back all.
std::vector<RecordId> UnfinishedUndoes(RecordId id) {
    std::vector<RecordId> unfinished;
    for (const UndoSummary& record : ListUndoRecords()) {
        if (record.undoes != id) continue;
        if (record.state == UndoRecord::State::Complete) break;
        unfinished.push_back(record.id);
    }
    return unfinished;
}

UndoRecord UsableRecord(RecordId id) {
    UndoRecord record = ReadRecord(id);
    if (record.IsUsable()) return record;
    throw RuntimeError(
        ErrorNumber::InvalidProcedureCall,
        u"Record " + ToText(id) + u" can't be used: " + StateTitle(record.state) + u".");
}

/// Walks a record backwards.
class Walk {
  public:
    Walk(const UndoOptions& options, UndoResult& result) : options_(options), result_(result) {}

    void TakeBack(const UndoRecord& record) {
        for (std::size_t i = record.changes.size(); i-- > 0;) {
            if (!record.changes[i].IsChange()) continue;
            result_.steps.push_back(StepOf(record, i));
            if (IsStopped()) return;
        }
    }

    void RestoreOrders(const UndoRecord& record) {
        for (const UndoChange& change : record.changes) {
            if (change.kind != Kind::ValueOrder || IsStopped()) continue;
            const Status ordered = RestoreOrder(change);
            if (ordered.IsOk()) continue;
            UndoStep step = NewStep(change);
            Fail(step, ordered);
            result_.steps.push_back(step);
        }
    }

    /// Whether what is changed can't be kept any more.
    static bool IsStopped() { return TheUndoKeeper() != nullptr && !KeeperFailure().IsOk(); }
    static Status KeeperFailure() { return TheUndoKeeper()->Failure(); }

  private:
    static UndoStep NewStep(const UndoChange& change) {
        UndoStep step;
        step.change = change;
        step.before = BeforeOf(change);
        step.after = AfterOf(change);
        return step;
    }

    static void Fail(UndoStep& step, Status status) {
        step.outcome = Outcome::Failed;
        step.error = SysUtil::SystemErrorText(status.code);
    }

    /// Whether a file isn't at its place since an earlier move that brought it there was taken back
    /// already, by an undo before this one.
    static bool IsTakenFurtherBack(const UndoRecord& record, std::size_t index) {
        const UndoChange& change = record.changes[index];
        if (change.IsOfRegistry() ||
            !TheMachine().FileSystem().GetFileAttributesW(change.name).IsNotThere()) {
            return false;
        }
        for (std::size_t i = index; i-- > 0;) {
            const UndoChange& earlier = record.changes[i];
            if (earlier.kind != Kind::MoveFile || !EqualsIgnoreCase(earlier.target, change.name)) {
                continue;
            }
            const auto place = MakeFilePlace(earlier);
            const bool isBack = place->Look().IsOk() && place->Now() == UndoPlace::State::AsBefore;
            return isBack || IsTakenFurtherBack(record, i);
        }
        return false;
    }

    UndoStep StepOf(const UndoRecord& record, std::size_t index) const {
        const UndoChange& change = record.changes[index];
        UndoStep step = NewStep(change);
        step.outcome = Outcome::NotUndoable;
        if (!change.CanBeUndone()) return step;
        const auto place =
            change.IsOfRegistry() ? MakeRegistryPlace(change) : MakeFilePlace(change);
        if (const Status looked = place->Look(); !looked.IsOk()) {
            Fail(step, looked);
            return step;
        }
        step.now = place->Description();
        // What was refused has changed nothing, so whatever is there now is somebody else's.
        const bool isOther = place->Now() == UndoPlace::State::Other;
        const bool wasRefused = !change.outcome.IsOk() && isOther;
        if (place->Now() == UndoPlace::State::AsBefore || wasRefused ||
            (isOther && IsTakenFurtherBack(record, index))) {
            step.outcome = Outcome::AsBefore;
        } else if (isOther && !(options_.force && place->CanBeForced())) {
            step.outcome = Outcome::Conflict;
            step.error = place->Conflict();
        } else if (const Status put = place->PutBack(); !put.IsOk()) {
            Fail(step, put);
        } else {
            step.outcome = Outcome::Done;
        }
        return step;
    }

    UndoOptions options_;
    UndoResult& result_;
};

}  // namespace

std::size_t UndoResult::Count(UndoStep::Outcome outcome) const {
    return static_cast<std::size_t>(std::ranges::count(steps, outcome, &UndoStep::outcome));
}

UndoResult TakeBack(RecordId id, const UndoOptions& options) {
    const UndoRecord record = UsableRecord(id);
    UndoResult result;
    result.undone = id;
    const RecordedOperation operation(UndoOperation::kUndo, id);
    for (const RecordId unfinished : UnfinishedUndoes(id)) {
        UndoResult ignored;
        Walk(UndoOptions{}, ignored).TakeBack(UsableRecord(unfinished));
        if (Walk::IsStopped()) break;
    }
    Walk walk(options, result);
    if (!Walk::IsStopped()) walk.TakeBack(record);
    if (!Walk::IsStopped()) walk.RestoreOrders(record);
    if (Walk::IsStopped()) {
        result.failure = u"What would be changed can't be kept, so nothing more is changed: " +
                         SysUtil::SystemErrorText(Walk::KeeperFailure().code);
    }
    if (TheUndoKeeper() != nullptr) {
        TheUndoKeeper()->Conclude(result.IsWhole());
        result.record = TheUndoKeeper()->Record();
    }
    return result;
}

}  // namespace bkfd
