#include "platform/volume/VolumeRefusals.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

/// What a file of hibernation begins with while a memory image waits in it, or is being read back.
/// Once Windows runs again it is "wake", and zeros where it was given up.
constexpr std::string_view kHibernated[] = {"hibr", "HIBR", "RSTR"};

std::string FirstBytes(const std::string& path, std::size_t count) {
    const HostFile file(OpenUntouched(path, 0));
    std::string bytes(count, '\0');
    const ssize_t got = file.IsOpen() ? read(file.Get(), bytes.data(), count) : 0;
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
}

bool IsHibernated(const std::string& drive) {
    const std::string file = FindInAnyCase(drive, "hiberfil.sys");
    if (file.empty()) return false;
    const std::string mark = FirstBytes(file, 4);
    for (const std::string_view known : kHibernated) {
        if (mark == known) return true;
    }
    return false;
}

/// Where servers of that user's prefixes have their folders. Debian's Wine has them in the user's
/// run-time folder, or else in one below /tmp whose name stands in the prefix.
std::vector<std::string> ServerFolders(const std::string& prefix, uid_t user) {
    constexpr std::size_t kLongestName = 64;
    const std::string number = std::to_string(user);
    std::vector<std::string> folders = {"/tmp/.wine-" + number, "/run/user/" + number + "/wine"};
    const std::string name = FirstBytes(prefix + "/wineserver", kLongestName);
    if (name.starts_with("wine-") && name.find('/') == std::string::npos) {
        folders.push_back("/tmp/" + name);
        const char* const temporary = std::getenv("TMPDIR");
        if (temporary != nullptr) folders.push_back(std::string(temporary) + '/' + name);
    }
    return folders;
}

/// The server locks a file in a folder that is named by the prefix's device and inode.
bool IsWineServerAtWork(const std::string& prefix) {
    struct stat facts {};
    if (stat(prefix.c_str(), &facts) != 0) return false;
    char name[64];
    std::snprintf(name, sizeof name, "/server-%llx-%llx/lock",
                  static_cast<unsigned long long>(facts.st_dev),
                  static_cast<unsigned long long>(facts.st_ino));
    for (const std::string& folder : ServerFolders(prefix, facts.st_uid)) {
        const HostFile file(OpenUntouched(folder + name, 0));
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (!file.IsOpen() || fcntl(file.Get(), F_GETLK, &lock) != 0) continue;
        if (lock.l_type != F_UNLCK) return true;
    }
    return false;
}

}  // namespace

std::optional<VolumeError> WhyNotToChange(const FoundWindows& found) {
    struct statvfs mount {};
    if (statvfs(found.drive.c_str(), &mount) == 0 && (mount.f_flag & ST_RDONLY) != 0) {
        return VolumeError{found.folder + " is mounted read-only, so nothing can be changed there"};
    }
    if (access(found.drive.c_str(), W_OK) != 0) {
        return VolumeError{found.folder + " can't be written: " +
                           (errno == EROFS ? "it is mounted read-only" : "permission denied")};
    }
    if (found.kind == VolumeKind::Wine && IsWineServerAtWork(found.folder)) {
        return VolumeError{found.folder +
                           ": a Wine server is at work on this prefix; end its programs first "
                           "(wineserver -k)"};
    }
    if (found.kind != VolumeKind::Wine && IsHibernated(found.drive)) {
        return VolumeError{found.folder +
                           ": Windows is hibernated there, or was shut down for a fast start; "
                           "start it and shut it down whole first (shutdown /s /t 0)"};
    }
    return std::nullopt;
}

}  // namespace bkfd
