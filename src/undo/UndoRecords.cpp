#include "undo/UndoRecords.h"

#include <algorithm>
#include <map>

#include "base/RuntimeError.h"
#include "platform/undo/UndoFolder.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

UndoSummary SummaryOf(const UndoRecord& record) {
    UndoSummary summary;
    summary.id = record.id;
    summary.state = record.state;
    summary.operation = record.operation;
    summary.time = record.time;
    summary.undoes = record.undoes;
    for (const UndoChange& change : record.changes) {
        if (!change.IsChange() || !change.outcome.IsOk()) continue;
        ++(change.CanBeUndone() ? summary.changes : summary.notUndoable);
    }
    return summary;
}

/// Later ones first, so that an undo that was undone itself counts for nothing.
void MarkUndone(std::vector<UndoSummary>& newestFirst) {
    std::map<RecordId, UndoRecord::State> undone;
    for (UndoSummary& record : newestFirst) {
        const auto found = undone.find(record.id);
        record.isUndone = found != undone.end() && found->second == UndoRecord::State::Complete;
        record.isPartlyUndone = found != undone.end() && !record.isUndone;
        const bool isUsable = record.state <= UndoRecord::State::Interrupted;
        if (record.undoes && isUsable && !record.isUndone) {
            undone.try_emplace(*record.undoes, record.state);
        }
    }
}

bool IsThere(RecordId id) {
    Machine& machine = TheMachine();
    return machine.FileSystem().GetFileAttributesW(UndoRecordPath(machine.System(), id)).IsOk();
}

void Remove(const Text& path) {
    const Status removed = TheMachine().FileSystem().DeleteFileW(path);
    if (removed.IsOk() || removed.IsNotThere()) return;
    throw RuntimeError(ErrorNumber::PathFileAccess,
                       u"Cannot remove '" + path + u"'. " + SysUtil::SystemErrorText(removed.code));
}

}  // namespace

std::vector<UndoSummary> ListUndoRecords() {
    std::vector<UndoSummary> records;
    for (const RecordId id : ListRecordIds(TheMachine())) {
        records.push_back(SummaryOf(ReadUndoRecord(TheMachine(), id)));
    }
    std::ranges::reverse(records);
    MarkUndone(records);
    return records;
}

UndoRecord ReadRecord(RecordId id) {
    if (IsThere(id)) return ReadUndoRecord(TheMachine(), id);
    throw RuntimeError(ErrorNumber::FileNotFound,
                       u"There is no record of the number " + ToText(id) + u".");
}

std::optional<RecordId> LastUndoable(const std::vector<UndoSummary>& records) {
    const auto last = std::ranges::find_if(records, [](const UndoSummary& record) {
        return record.CanBeUndone() && !record.undoes && record.changes > 0;
    });
    if (last == records.end()) return std::nullopt;
    return last->id;
}

void ForgetRecord(RecordId id) {
    (void)ReadRecord(id);
    // The record goes first: files that nothing tells of do no harm, a record without them would.
    Remove(UndoRecordPath(TheMachine().System(), id));
    for (const Text& kept : ListKeptFiles(TheMachine(), id)) {
        (void)TheMachine().FileSystem().SetFileAttributesW(kept, FileAttribute::Archive);
        Remove(kept);
    }
}

}  // namespace bkfd
