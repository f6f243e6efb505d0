#pragma once

#include <cstdint>
#include <utility>

namespace bkfd {

/// System error codes that the seam's callers tell apart. The values are Windows'.
namespace SystemError {
inline constexpr std::uint32_t Success = 0;
inline constexpr std::uint32_t InvalidFunction = 1;
inline constexpr std::uint32_t FileNotFound = 2;
inline constexpr std::uint32_t PathNotFound = 3;
inline constexpr std::uint32_t AccessDenied = 5;
inline constexpr std::uint32_t InvalidHandle = 6;
inline constexpr std::uint32_t NotEnoughMemory = 8;
inline constexpr std::uint32_t InvalidData = 13;
inline constexpr std::uint32_t NoMoreFiles = 18;
inline constexpr std::uint32_t WriteProtect = 19;
inline constexpr std::uint32_t BadLength = 24;
inline constexpr std::uint32_t SharingViolation = 32;
inline constexpr std::uint32_t FileExists = 80;
inline constexpr std::uint32_t InvalidParameter = 87;
inline constexpr std::uint32_t DiskFull = 112;
inline constexpr std::uint32_t CallNotImplemented = 120;
inline constexpr std::uint32_t InsufficientBuffer = 122;
inline constexpr std::uint32_t InvalidName = 123;
inline constexpr std::uint32_t BadPathname = 161;
inline constexpr std::uint32_t AlreadyExists = 183;
inline constexpr std::uint32_t EnvironmentVariableNotFound = 203;
inline constexpr std::uint32_t FilenameTooLong = 206;
inline constexpr std::uint32_t MoreData = 234;
inline constexpr std::uint32_t PartialCopy = 299;
inline constexpr std::uint32_t KeyDeleted = 1018;
inline constexpr std::uint32_t IoDevice = 1117;
inline constexpr std::uint32_t NoSuchPrivilege = 1313;
inline constexpr std::uint32_t PrivilegeNotHeld = 1314;
inline constexpr std::uint32_t UnsupportedType = 1630;
/// A link that leads nowhere that the machine could go.
inline constexpr std::uint32_t CantResolveFilename = 1921;
inline constexpr std::uint32_t Unspecified = 0x80004005;  // E_FAIL
inline constexpr std::uint32_t ClassNotRegistered = 0x80040154;
// Of URL monikers: no connection, no such host, an interruption.
inline constexpr std::uint32_t CannotConnect = 0x800C0004;
inline constexpr std::uint32_t ResourceNotFound = 0x800C0005;
inline constexpr std::uint32_t DownloadFailure = 0x800C0008;
}  // namespace SystemError

/// The outcome of a call without a result: the native error code, 0 for success.
struct [[nodiscard]] Status {
    std::uint32_t code = SystemError::Success;

    bool IsOk() const { return code == SystemError::Success; }
    /// "Not there" is an ordinary answer, unlike a thing that is there and can't be read.
    bool IsNotThere() const {
        return code == SystemError::FileNotFound || code == SystemError::PathNotFound;
    }
};

/// The outcome of a call with a result, which is meaningful only when the status is ok.
template <class T>
struct [[nodiscard]] Result : Status {
    T value{};

    Result(T result) : value(std::move(result)) {}
    Result(Status status) : Status(status) {}
};

}  // namespace bkfd
