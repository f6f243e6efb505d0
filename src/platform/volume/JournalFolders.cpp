#include "platform/volume/JournalFolders.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "platform/files/HostFiles.h"
#include "platform/hive/RegistryCommit.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

class JournalSearch {
  public:
    JournalSearch(const FoundWindows& found, const VolumeOptions& options)
        : windows_(found.windowsHost), drive_(found.drive), letters_(options.drives) {
        drives_.insert(RealPath(drive_));
        for (const auto& [letter, folder] : letters_) drives_.insert(RealPath(folder));
    }

    void LookBelowDrives() {
        for (const std::string& drive : drives_) {
            DIR* const opened = OpenFolderUntouched(drive);
            if (opened == nullptr) continue;
            while (const dirent* entry = readdir(opened)) {
                const std::string folder = drive + '/' + entry->d_name;
                const bool isFolder = entry->d_type != DT_REG && entry->d_name[0] != '.';
                // Nobody's programs lie in the folder of Windows, and it has many files.
                if (isFolder && folder != windows_) LookAt(folder, "Brackenfold/Undo");
            }
            closedir(opened);
        }
    }

    /// "C:\\Some\\Folder"; of a letter that nobody gave it is the drive of Windows.
    void LookAtProgramFolder(const Text& path) {
        if (path.size() < 3 || path[1] != u':') return;
        const auto given = letters_.find(static_cast<char16_t>(ToLower(path[0]) - u'a' + u'A'));
        std::string below = ToHostName(path.substr(3));
        std::ranges::replace(below, '\\', '/');
        LookAt(given == letters_.end() ? drive_ : given->second, below + "/Undo");
    }

    std::vector<std::string> Journals() const { return {journals_.begin(), journals_.end()}; }

  private:
    static std::string RealPath(const std::string& path) {
        std::error_code failure;
        return fs::canonical(path, failure).string();
    }

    void LookAt(const std::string& folder, const std::string& below) {
        const std::string found = FindInAnyCase(folder, below);
        const std::string real = found.empty() ? found : RealPath(found);
        const bool isInside = std::ranges::any_of(drives_, [&](const std::string& drive) {
            return !drive.empty() && LiesBelow(real, drive);
        });
        if (!isInside) return;
        for (std::string& journal : FindUnfinishedJournals(real)) {
            journals_.insert(std::move(journal));
        }
    }

    std::string windows_;
    std::string drive_;
    const DriveFolders& letters_;
    std::set<std::string> drives_;
    std::set<std::string> journals_;
};

}  // namespace

std::vector<std::string> FindUnfinishedCommits(const FoundWindows& found,
                                               const VolumeOptions& options) {
    // The registry of that family is never written.
    if (found.kind == VolumeKind::Windows9x) return {};
    JournalSearch search(found, options);
    search.LookBelowDrives();
    search.LookAtProgramFolder(options.programFolder);
    return search.Journals();
}

}  // namespace bkfd
