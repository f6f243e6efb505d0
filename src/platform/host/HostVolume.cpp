#include "platform/host/HostVolume.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/files/DiskFile.h"

namespace bkfd {
namespace {

constexpr std::size_t kLongestComponent = 120;  // keeps a name below the limit of 260 characters

/// A component that Windows can have as a name: what it forbids is replaced by U+FFFD.
Text WindowsName(const std::string& component) {
    Text name = FromUtf8(component);
    for (char16_t& unit : name) {
        if (unit < u' ' || TextView(u"\\/:*?\"<>|").find(unit) != TextView::npos) unit = u'\xFFFD';
    }
    // The end of a name is what is judged.
    if (name.size() > kLongestComponent) name = name.substr(name.size() - kLongestComponent);
    while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) name.back() = u'\xFFFD';
    return name;
}

}  // namespace

Text HostVolume::Add(const std::string& hostPath) {
    std::error_code ignored;
    const std::filesystem::path full = std::filesystem::absolute(hostPath, ignored);
    Text name = u"H:\\" + FromAscii(std::to_string(hostPaths_.size() + 1));
    for (const std::string& component :
         {full.parent_path().filename().string(), full.filename().string()}) {
        if (!component.empty()) name += u'\\' + WindowsName(component);
    }
    hostPaths_[ToLower(name)] = hostPath;
    return name;
}

Result<VolumeEntry> HostVolume::Find(TextView path) {
    const auto known = hostPaths_.find(ToLower(path));
    if (known == hostPaths_.end()) return Status{SystemError::FileNotFound};
    struct stat facts {};
    if (stat(known->second.c_str(), &facts) != 0) return StatusOfErrno(errno);
    return VolumeEntry{Text(path), S_ISDIR(facts.st_mode),
                       static_cast<std::uint64_t>(facts.st_size), ToLocalDate({facts.st_mtime, 0})};
}

Result<std::vector<VolumeEntry>> HostVolume::List(const VolumeEntry& folder) {
    std::vector<VolumeEntry> entries;
    const Text prefix = ToLower(folder.path) + u'\\';
    for (const auto& [name, hostPath] : hostPaths_) {
        if (!name.starts_with(prefix) || name.find(u'\\', prefix.size()) != Text::npos) continue;
        const auto entry = Find(name);
        if (entry.IsOk()) entries.push_back(entry.value);
    }
    return entries;
}

// Only plain files are read: others, such as pipes, may never end.
Result<std::unique_ptr<OpenFile>> HostVolume::OpenToRead(const VolumeEntry& file) {
    const auto known = hostPaths_.find(ToLower(file.path));
    if (known == hostPaths_.end()) return Status{SystemError::FileNotFound};
    struct stat facts {};
    if (stat(known->second.c_str(), &facts) != 0) return StatusOfErrno(errno);
    if (!S_ISREG(facts.st_mode)) return Status{SystemError::AccessDenied};
    return DiskFile::OpenToRead(known->second);
}

Result<std::unique_ptr<OpenFile>> HostVolume::OpenToAppend(const VolumeEntry&) {
    return Status{SystemError::WriteProtect};
}

Result<std::unique_ptr<OpenFile>> HostVolume::Create(TextView) {
    return Status{SystemError::WriteProtect};
}

Status HostVolume::Remove(const VolumeEntry&) {
    return {SystemError::WriteProtect};
}

Status HostVolume::Move(const std::vector<std::pair<VolumeEntry, Text>>&) {
    return {SystemError::WriteProtect};
}

Status HostVolume::MakeFolder(TextView) {
    return {SystemError::WriteProtect};
}

std::vector<VolumeEntry> HostVolume::All() {
    std::vector<VolumeEntry> entries;
    for (const auto& [name, hostPath] : hostPaths_) {
        const auto entry = Find(name);
        if (entry.IsOk()) entries.push_back(entry.value);
    }
    return entries;
}

}  // namespace bkfd
