#include "platform/model/ModelSystem.h"

#include <algorithm>

namespace bkfd {
namespace {

struct ErrorText {
    std::uint32_t code;
    TextView text;
};

/// As the English Windows words them, without the line end.
constexpr ErrorText kErrorTexts[] = {
    {0, u"The operation completed successfully."},
    {1, u"Incorrect function."},
    {2, u"The system cannot find the file specified."},
    {3, u"The system cannot find the path specified."},
    {4, u"The system cannot open the file."},
    {5, u"Access is denied."},
    {6, u"The handle is invalid."},
    {8, u"Not enough storage is available to process this command."},
    {13, u"The data is invalid."},
    {14, u"Not enough storage is available to complete this operation."},
    {15, u"The system cannot find the drive specified."},
    {17, u"The system cannot move the file to a different disk drive."},
    {18, u"There are no more files."},
    {19, u"The media is write protected."},
    {20, u"The system cannot find the device specified."},
    {21, u"The device is not ready."},
    {23, u"Data error (cyclic redundancy check)."},
    {24, u"The program issued a command but the command length is incorrect."},
    {29, u"The system cannot write to the specified device."},
    {30, u"The system cannot read from the specified device."},
    {31, u"A device attached to the system is not functioning."},
    {32, u"The process cannot access the file because it is being used by another process."},
    {33,
     u"The process cannot access the file because another process has locked a portion of the "
     u"file."},
    {50, u"The request is not supported."},
    {53, u"The network path was not found."},
    {65, u"Network access is denied."},
    {80, u"The file exists."},
    {82, u"The directory or file cannot be created."},
    {87, u"The parameter is incorrect."},
    {112, u"There is not enough space on the disk."},
    {120, u"This function is not supported on this system."},
    {122, u"The data area passed to a system call is too small."},
    {123, u"The filename, directory name, or volume label syntax is incorrect."},
    {126, u"The specified module could not be found."},
    {127, u"The specified procedure could not be found."},
    {145, u"The directory is not empty."},
    {161, u"The specified path is invalid."},
    {183, u"Cannot create a file when that file already exists."},
    {203, u"The system could not find the environment option that was entered."},
    {206, u"The filename or extension is too long."},
    {234, u"More data is available."},
    {259, u"No more data is available."},
    {299, u"Only part of a ReadProcessMemory or WriteProcessMemory request was completed."},
    {998, u"Invalid access to memory location."},
    {1009, u"The configuration registry database is corrupt."},
    {1010, u"The configuration registry key is invalid."},
    {1011, u"The configuration registry key could not be opened."},
    {1012, u"The configuration registry key could not be read."},
    {1013, u"The configuration registry key could not be written."},
    {1018, u"Illegal operation attempted on a registry key that has been marked for deletion."},
    {1115, u"A system shutdown is in progress."},
    {1117, u"The request could not be performed because of an I/O device error."},
    {1300, u"Not all privileges or groups referenced are assigned to the caller."},
    {1313, u"A specified privilege does not exist."},
    {1314, u"A required privilege is not held by the client."},
    {1392, u"The file or directory is corrupted and unreadable."},
    {1921, u"The name of the file cannot be resolved by the system."},
    {0x80004005, u"Unspecified error"},
    {0x80040154, u"Class not registered"},
    {0x800401F3, u"Invalid class string"},
    {0x80070005, u"Access is denied."},
    // Errors of the system's network service.
    {0x800C0004, u"The attempt to connect to the Internet has failed."},
    {0x800C0005, u"The server or proxy was not found."},
    {0x800C0008, u"The connection was interrupted."},
};

}  // namespace

std::uint32_t ModelSystem::GetVersion() {
    const auto low = static_cast<std::uint32_t>(facts_.major & 0xFF) |
                     static_cast<std::uint32_t>(facts_.minor & 0xFF) << 8;
    if (!facts_.IsNT()) return low | kWindows9xBit;
    return low | static_cast<std::uint32_t>(facts_.build & 0x7FFF) << 16;
}

Result<WindowsVersion> ModelSystem::GetVersionExW() {
    WindowsVersion version;
    version.major = facts_.major;
    version.minor = facts_.minor;
    const std::int32_t repeated = facts_.IsNT() ? 0 : facts_.major << 24 | facts_.minor << 16;
    version.build = facts_.build | repeated;
    version.platformId = facts_.IsNT() ? WindowsPlatform::NT : WindowsPlatform::Windows9x;
    version.servicePack = facts_.servicePack;
    return version;
}

Text ModelSystem::ExpandEnvironmentStringsW(TextView text) {
    return facts_.ExpandVariables(text);
}

Text ModelSystem::GetTempPathW() {
    for (const TextView name : {u"TMP", u"TEMP"}) {
        if (const Text* folder = facts_.Environment(name)) return WithBackslash(*folder);
    }
    return facts_.WindowsFolder() + u"\\Temp\\";
}

Result<Text> ModelSystem::GetSystemWow64DirectoryW() {
    if (!facts_.hasTwoViews) return Status{SystemError::CallNotImplemented};
    return facts_.SystemFolder32();
}

Text ModelSystem::GetModuleFileNameW() {
    return WithBackslash(facts_.programFolder) + facts_.programFile;
}

Text ModelSystem::FormatMessageW(std::uint32_t code) {
    for (const ErrorText& error : kErrorTexts) {
        if (error.code == code) return Text(error.text) + u"\r\n";
    }
    return {};
}

}  // namespace bkfd
