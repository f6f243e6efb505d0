#include "undo/KeptChanges.h"

#include "platform/Machine.h"
#include "platform/undo/RecordedOperation.h"
#include "platform/undo/UndoFolder.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {

Text WhyNotKept() {
    const UndoKeeper* const keeper = TheUndoKeeper();
    if (keeper == nullptr || keeper->Failure().IsOk()) return {};
    return u"Nothing more was changed, since what would be lost can't be kept in '" +
           UndoFolderPath(TheMachine().System()) + u"': " +
           SysUtil::SystemErrorText(keeper->Failure().code);
}

bool TellIfNotKept(Logger& logger, const Text& source) {
    const Text why = WhyNotKept();
    if (why.empty()) return false;
    logger.Write(0, why, LogLevel::SystemFailure, source);
    ShowMessage(why, MessageStyle::Exclamation);
    return true;
}

}  // namespace bkfd
