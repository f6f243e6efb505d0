#include "platform/model/ModelSession.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kShutdownOrReboot = ExitFlag::Shutdown | ExitFlag::Reboot;
constexpr std::uint64_t kShutdownPrivilege = 19;  // its identifier on every NT system
constexpr TextView kShutdownName = u"SeShutdownPrivilege";

}  // namespace

Result<Handle> ModelSession::OpenProcessToken(std::uint32_t access) {
    if (!facts_.IsNT()) return Status{SystemError::CallNotImplemented};
    if ((access & TokenAccess::AdjustPrivileges) == 0) return Status{SystemError::AccessDenied};
    return processes_.OpenToken();
}

Result<std::uint64_t> ModelSession::LookupPrivilegeValueA(std::string_view name) {
    if (!facts_.IsNT()) return Status{SystemError::CallNotImplemented};
    if (!EqualsIgnoreCase(FromUtf8(name), kShutdownName)) {
        return Status{SystemError::NoSuchPrivilege};
    }
    return kShutdownPrivilege;
}

Status ModelSession::AdjustTokenPrivileges(Handle token, std::uint64_t luid,
                                           std::uint32_t attributes) {
    if (!facts_.IsNT()) return {SystemError::CallNotImplemented};
    if (!processes_.IsToken(token)) return {SystemError::InvalidHandle};
    if (luid != kShutdownPrivilege) return {SystemError::NoSuchPrivilege};
    hasPrivilege_ = attributes == kPrivilegeEnabled && !facts_.isRestartDenied;
    return {};
}

Status ModelSession::ExitWindowsEx(std::uint32_t flags, std::uint32_t /*reason*/) {
    if (facts_.isRestartDenied || (facts_.IsNT() && !hasPrivilege_)) {
        return {SystemError::PrivilegeNotHeld};
    }
    if ((flags & kShutdownOrReboot) == 0) return {};
    const Status restarted = restart_();
    if (restarted.IsOk()) ++restartCount_;
    return restarted;
}

}  // namespace bkfd
