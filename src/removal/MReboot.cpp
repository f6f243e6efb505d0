#include "removal/MReboot.h"

#include "platform/Machine.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/Toolkit.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kAdjustPrivilegesAndQuery =
    TokenAccess::AdjustPrivileges | TokenAccess::Query;
constexpr std::uint32_t kShutdownAndReboot = ExitFlag::Shutdown | ExitFlag::Reboot;
constexpr std::uint32_t kAnyReason = 0xFFFFFFFF;

/// Nothing is tested here: whether the right was obtained shows when it is used. The token stays
/// open on purpose; the program ends soon.
void EnableShutdownPrivilege() {
    Restart& session = TheMachine().Session();
    const auto token = session.OpenProcessToken(kAdjustPrivilegesAndQuery);
    const auto privilege = session.LookupPrivilegeValueA("SeShutdownPrivilege");
    (void)session.AdjustTokenPrivileges(token.value, privilege.value, kPrivilegeEnabled);
}

}  // namespace

bool RestartWindows(Text& errorText) {
    errorText.clear();
    EnableShutdownPrivilege();
    const Status accepted = TheMachine().Session().ExitWindowsEx(kShutdownAndReboot, kAnyReason);
    if (accepted.IsOk()) return true;
    errorText = SysUtil::SystemErrorText(accepted.code);
    return false;
}

void RestartWindowsAndEnd(Logger& logger, const Text& source) {
    Text errorText;
    if (!RestartWindows(errorText)) {
        const Text message =
            SysUtil::FormatTemplate(ResourceString(StringId::RestartManually), {errorText});
        logger.Write(0, message, LogLevel::SystemFailure, source);
        ShowMessage(message, MessageStyle::Exclamation);
    }
    TheToolkit().EndProgram();
}

}  // namespace bkfd
