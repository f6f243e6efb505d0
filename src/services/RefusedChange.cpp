#include "services/RefusedChange.h"

#include "services/RegistryAccess.h"
#include "services/SysUtil.h"

namespace bkfd {

void LogRefusedChange(Logger& logger, Status status, const Text& change, const Text& source) {
    if (status.IsOk()) return;
    logger.Write(
        0,
        SysUtil::FormatTemplate(u"Cannot %1. %2", {change, SysUtil::SystemErrorText(status.code)}),
        LogLevel::SystemFailure, source);
}

void LogKeyThatStays(Logger& logger, RegistryBase base, const Text& key, const Text& source) {
    const Status left = TheMachine().RegistryKeys().RegEnumKeyExW(base, key);
    if (left.IsNotThere()) return;
    logger.Write(0, u"Cannot delete '" + RegistryAccess::KeyName(base, key) + u"'. ",
                 LogLevel::SystemFailure, source);
}

}  // namespace bkfd
