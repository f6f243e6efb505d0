#include "removal/processes/RefusedChange.h"

#include "services/SysUtil.h"

namespace bkfd {

void LogRefusedChange(Logger& logger, Status status, const Text& change, const Text& source) {
    if (status.IsOk()) return;
    logger.Write(
        0,
        SysUtil::FormatTemplate(u"Cannot %1. %2", {change, SysUtil::SystemErrorText(status.code)}),
        LogLevel::SystemFailure, source);
}

}  // namespace bkfd
