#pragma once

#include <cstddef>
#include <cstdint>

/// Windows' own numbers, as its calls take and give them, under the names of its documentation.
namespace bkfd {

/// Characters of a path in the records of many calls, the NUL at its end included (MAX_PATH).
inline constexpr std::size_t kMaxPath = 260;

// ---------------------------------------------------------------- versions

/// Set in the result of `GetVersion` on the Windows 95 family.
inline constexpr std::uint32_t kWindows9xBit = 0x80000000;

constexpr bool IsVersionOfNT(std::uint32_t version) {
    return (version & kWindows9xBit) == 0;
}

/// What `GetVersionEx` calls a family.
namespace WindowsPlatform {
inline constexpr std::int32_t Windows9x = 1;
inline constexpr std::int32_t NT = 2;
}  // namespace WindowsPlatform

// ---------------------------------------------------------------- files

namespace FileAttribute {
inline constexpr std::uint32_t ReadOnly = 0x1;
inline constexpr std::uint32_t Hidden = 0x2;
inline constexpr std::uint32_t System = 0x4;
inline constexpr std::uint32_t Directory = 0x10;
inline constexpr std::uint32_t Archive = 0x20;
inline constexpr std::uint32_t Normal = 0x80;
inline constexpr std::uint32_t ReparsePoint = 0x400;
}  // namespace FileAttribute

// ---------------------------------------------------------------- processes

namespace ProcessAccess {
inline constexpr std::uint32_t Terminate = 0x1;
inline constexpr std::uint32_t ReadMemory = 0x10;
inline constexpr std::uint32_t QueryInformation = 0x400;
/// What a list of modules takes.
inline constexpr std::uint32_t QueryAndRead = QueryInformation | ReadMemory;
inline constexpr std::uint32_t All = 0x1F0FFF;
}  // namespace ProcessAccess

/// What a toolhelp snapshot holds.
namespace SnapshotHolds {
inline constexpr std::uint32_t Processes = 0x2;
inline constexpr std::uint32_t Modules = 0x8;
}  // namespace SnapshotHolds

/// Sizes of the toolhelp records as the 32-bit ANSI calls know them; callers state them.
inline constexpr std::uint32_t kProcessRecordSize = 296;
inline constexpr std::uint32_t kModuleRecordSize = 548;

// ---------------------------------------------------------------- restart

namespace TokenAccess {
inline constexpr std::uint32_t Query = 0x8;
inline constexpr std::uint32_t AdjustPrivileges = 0x20;
}  // namespace TokenAccess

inline constexpr std::uint32_t kPrivilegeEnabled = 0x2;

/// Flags of `ExitWindowsEx`.
namespace ExitFlag {
inline constexpr std::uint32_t Shutdown = 0x1;
inline constexpr std::uint32_t Reboot = 0x2;
}  // namespace ExitFlag

// ---------------------------------------------------------------- shell

/// Flags of `ShellExecuteEx`.
namespace ExecuteMask {
inline constexpr std::uint32_t InvokeIdList = 0xC;
inline constexpr std::uint32_t NoCloseProcess = 0x40;
inline constexpr std::uint32_t NoUserInterface = 0x400;
}  // namespace ExecuteMask

// ---------------------------------------------------------------- HTTP

/// States of an exchange of the XML service.
namespace ReadyState {
inline constexpr std::int32_t NotOpened = 0;
inline constexpr std::int32_t Opened = 1;
inline constexpr std::int32_t Answered = 2;
inline constexpr std::int32_t Receiving = 3;
inline constexpr std::int32_t Complete = 4;
}  // namespace ReadyState

}  // namespace bkfd
