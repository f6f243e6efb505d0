#pragma once

#include <string>
#include <variant>

#include "base/Text.h"

namespace bkfd {

/// Why a volume can't be used, one clause for people that names the folder or file.
struct VolumeError {
    std::string message;
};

enum class VolumeKind { Image, WindowsNT, Windows9x, Wine };

/// What lies in a folder of the host.
struct FoundWindows {
    VolumeKind kind = VolumeKind::Image;
    std::string folder;       // that was given, a real path; of a Wine prefix the prefix
    std::string drive;        // the folder that holds the files of the drive of Windows
    Text windowsFolder;       // below the drive, as the disk spells it: "WINDOWS"
    std::string windowsHost;  // the host's path of that folder
};

/// Says what lies in a folder: a machine image, a Windows volume of either family, a Wine prefix.
/// `windowsFolder` is empty or the path of the Windows folder below it ("a/WINNT", "C:\a\WINNT"),
/// where names alone don't tell. Names of folders and files that Windows made are found in any
/// case.
std::variant<FoundWindows, VolumeError> FindWindows(const std::string& folder,
                                                    const std::string& windowsFolder);

/// Whether a path is that of the folder or of something in it; both are real paths.
bool LiesBelow(const std::string& path, const std::string& folder);

/// The host's path of what lies at `path` below a folder, components separated by "/", in any case;
/// empty if there is nothing. The name as it is written is preferred.
std::string FindInAnyCase(const std::string& folder, std::string_view path);

}  // namespace bkfd
