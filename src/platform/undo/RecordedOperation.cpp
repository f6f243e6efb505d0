#include "platform/undo/RecordedOperation.h"

#include <utility>

namespace bkfd {
namespace {

UndoKeeper* installedKeeper = nullptr;
bool isInOperation = false;

}  // namespace

UndoKeeper* TheUndoKeeper() {
    return installedKeeper;
}

UndoKeeper* InstallUndoKeeper(UndoKeeper* keeper) {
    return std::exchange(installedKeeper, keeper);
}

RecordedOperation::RecordedOperation(TextView operation, std::optional<RecordId> undoes)
    : isOutermost_(!std::exchange(isInOperation, true)) {
    if (isOutermost_ && installedKeeper != nullptr) installedKeeper->Begin(operation, undoes);
}

RecordedOperation::~RecordedOperation() {
    if (!isOutermost_) return;
    isInOperation = false;
    if (installedKeeper != nullptr) installedKeeper->End();
}

}  // namespace bkfd
