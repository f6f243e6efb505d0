#include "platform/volume/FindWindows.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

constexpr const char* kNTMark = "System32/config/SOFTWARE";

bool IsFolder(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool IsFile(const std::string& path) {
    struct stat facts {};
    return !path.empty() && stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

/// In byte order; nothing if the folder can't be read.
std::vector<std::string> NamesIn(const std::string& folder) {
    std::vector<std::string> names;
    DIR* opened = OpenFolderUntouched(folder);
    if (opened == nullptr) return names;
    while (const dirent* entry = readdir(opened)) names.emplace_back(entry->d_name);
    closedir(opened);
    std::ranges::sort(names);
    return names;
}

/// What a folder is that may be that of Windows; false if it isn't.
bool IsWindowsFolder(const std::string& path, VolumeKind& kind) {
    if (IsFile(FindInAnyCase(path, kNTMark))) {
        kind = VolumeKind::WindowsNT;
        return true;
    }
    kind = VolumeKind::Windows9x;
    return IsFile(FindInAnyCase(path, "SYSTEM.DAT")) && IsFile(FindInAnyCase(path, "USER.DAT"));
}

/// Why what lies at a path, which may be below a link that leads nowhere, is no file; empty if it
/// is one or nothing lies there.
std::string WhyNoFile(const std::string& folder, std::string_view path) {
    std::string at = folder;
    while (true) {
        struct stat facts {};
        if (stat(at.c_str(), &facts) != 0) {
            return at + (errno == ENOENT  ? " is a link that leads nowhere"
                         : errno == ELOOP ? " is a link in a circle"
                                          : std::string(" can't be read: ") + std::strerror(errno));
        }
        if (path.empty()) return S_ISREG(facts.st_mode) ? "" : at + " is no file";
        if (S_ISDIR(facts.st_mode) && access(at.c_str(), R_OK | X_OK) != 0) {
            return at + " can't be read: " + std::strerror(errno);
        }
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        at = FindInAnyCase(at, name);
        if (at.empty()) return {};
    }
}

/// "Windows" or "a\WINNT" of the path below the drive.
Text BelowDrive(const std::string& path, const std::string& drive) {
    Text below = FromHostName(std::string_view(path).substr(drive.size()));
    std::ranges::replace(below, u'/', u'\\');
    while (!below.empty() && below.front() == u'\\') below.erase(0, 1);
    return below;
}

/// "WINDOWS" of "C:\WINDOWS", which people write too.
std::string WithoutDrive(std::string path) {
    std::ranges::replace(path, '\\', '/');
    return path.size() > 2 && path[1] == ':' ? path.substr(2) : path;
}

/// A link may lead to another folder of the drive, and no further.
std::variant<FoundWindows, VolumeError> Found(VolumeKind kind, const std::string& folder,
                                              const std::string& drive,
                                              const std::string& windows) {
    std::error_code failure;
    const std::string top = std::filesystem::canonical(drive, failure).string();
    const std::string real = std::filesystem::canonical(windows, failure).string();
    if (failure || !LiesBelow(real, top)) {
        return VolumeError{windows + " leads out of " + drive + " by a link"};
    }
    return FoundWindows{kind, folder, drive, BelowDrive(windows, drive), real};
}

std::variant<FoundWindows, VolumeError> FindAmong(const std::string& folder,
                                                  const std::vector<std::string>& candidates) {
    std::vector<FoundWindows> found;
    for (const std::string& path : candidates) {
        VolumeKind kind{};
        if (!IsFolder(path) || !IsWindowsFolder(path, kind)) continue;
        auto one = Found(kind, folder, folder, path);
        if (const auto* error = std::get_if<VolumeError>(&one)) return *error;
        found.push_back(std::get<FoundWindows>(std::move(one)));
    }
    if (found.size() > 1) {
        return VolumeError{folder + " holds two Windows folders, " +
                           ToUtf8(found[0].windowsFolder) + " and " +
                           ToUtf8(found[1].windowsFolder) + ": --windows-folder says which"};
    }
    if (found.empty()) {
        for (const std::string& path : candidates) {
            std::string why = WhyNoFile(path, kNTMark);
            if (!why.empty()) return VolumeError{std::move(why)};
        }
        return VolumeError{folder +
                           " holds no Windows: looked for machine.json (an image), drive_c and "
                           "system.reg (a Wine prefix), Windows or WINNT with "
                           "System32/config/SOFTWARE, and WINDOWS with SYSTEM.DAT and USER.DAT"};
    }
    return found.front();
}

}  // namespace

bool LiesBelow(const std::string& path, const std::string& folder) {
    return path == folder || path.starts_with(folder == "/" ? folder : folder + '/');
}

std::string FindInAnyCase(const std::string& folder, std::string_view path) {
    std::string at = folder;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string name(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
        if (name.empty()) continue;
        std::string exact = at + '/' + name;
        if (access(exact.c_str(), F_OK) == 0) {
            at = std::move(exact);
            continue;
        }
        const std::vector<std::string> names = NamesIn(at);
        const auto found = std::ranges::find_if(names, [&](const std::string& other) {
            return EqualsIgnoreCase(FromHostName(other), FromHostName(name));
        });
        if (found == names.end()) return {};
        at += '/' + *found;
    }
    return at;
}

std::variant<FoundWindows, VolumeError> FindWindows(const std::string& givenFolder,
                                                    const std::string& windowsFolder) {
    std::error_code failure;
    const std::string folder = std::filesystem::canonical(givenFolder, failure).string();
    if (failure || !IsFolder(folder) || access(folder.c_str(), R_OK | X_OK) != 0) {
        return VolumeError{givenFolder + " is no folder that can be read"};
    }
    if (IsFile(folder + "/machine.json")) return Found(VolumeKind::Image, folder, folder, folder);
    const std::string driveC = folder + "/drive_c";
    if (IsFile(folder + "/system.reg") && IsFolder(driveC)) {
        const std::string windows = FindInAnyCase(driveC, "windows");
        if (windows.empty()) return VolumeError{folder + ": drive_c holds no folder windows"};
        return Found(VolumeKind::Wine, folder, driveC, windows);
    }
    if (IsFolder(driveC)) {
        std::string why = WhyNoFile(folder, "system.reg");
        if (!why.empty()) return VolumeError{std::move(why)};
    }
    if (!windowsFolder.empty()) {
        const std::string path = FindInAnyCase(folder, WithoutDrive(windowsFolder));
        VolumeKind kind{};
        if (path.empty() || !IsWindowsFolder(path, kind)) {
            std::string why = path.empty() ? std::string() : WhyNoFile(path, kNTMark);
            if (!why.empty()) return VolumeError{std::move(why)};
            return VolumeError{folder + ": " + windowsFolder +
                               " is no Windows folder: it has neither " + kNTMark +
                               " nor SYSTEM.DAT and USER.DAT"};
        }
        return Found(kind, folder, folder, path);
    }
    std::vector<std::string> candidates;
    for (const std::string& name : NamesIn(folder)) {
        const Text text = FromHostName(name);
        if (EqualsIgnoreCase(text, u"windows") || EqualsIgnoreCase(text, u"winnt")) {
            candidates.push_back(folder + '/' + name);
        }
    }
    return FindAmong(folder, candidates);
}

}  // namespace bkfd
