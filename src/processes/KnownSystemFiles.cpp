#include "processes/KnownSystemFiles.h"

#include <span>
#include <unordered_map>

#include "services/ApplicationState.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

/// What stands before the name.
enum class Prefix {
    None,
    System,        // gSystemPath
    Windows,       // gWindowsPath
    NativeSystem,  // "\??\" and gSystemPath, as the NT family names its earliest processes
    Expanded,      // nothing, but the name holds a variable
};

struct KnownFile {
    Prefix prefix;
    TextView name;
};

#define BKFD_KNOWN_FILE(prefix, name) {Prefix::prefix, u"" name},

constexpr KnownFile kProcessesNT[] = {
#include "processes/KnownProcessesNT.inc"
};

// A name that no file has: on the Windows 95 family no process counts as a system process.
constexpr KnownFile kProcesses9x[] = {{Prefix::System, u"xxx.exe"}};

constexpr KnownFile kModulesNT[] = {
#include "processes/KnownModulesNT.inc"
};

constexpr KnownFile kModules9x[] = {
#include "processes/KnownModules9x.inc"
};

#undef BKFD_KNOWN_FILE

Text FullPath(const KnownFile& file) {
    const Text name(file.name);
    switch (file.prefix) {
        case Prefix::None:
            return name;
        case Prefix::System:
            return gSystemPath + name;
        case Prefix::Windows:
            return gWindowsPath + name;
        case Prefix::NativeSystem:
            return u"\\??\\" + gSystemPath + name;
        case Prefix::Expanded:
            return SysUtil::ExpandEnvironment(name);
    }
    return name;
}

Text LastComponent(TextView path) {
    return Text(path.substr(path.rfind(u'\\') + 1));  // npos + 1 is 0
}

/// A list under the last components of its paths: equal paths have equal last components, so that
/// only the one or two candidates of a path's name need to be built and compared.
class KnownFiles {
  public:
    explicit KnownFiles(std::span<const KnownFile> files) {
        for (const KnownFile& file : files) {
            byLastComponent_.emplace(LastComponent(ToLower(file.name)), &file);
        }
    }

    bool Holds(const Text& path) const {
        const Text lowerPath = ToLower(path);
        const auto [first, last] = byLastComponent_.equal_range(LastComponent(lowerPath));
        for (auto candidate = first; candidate != last; ++candidate) {
            if (ToLower(FullPath(*candidate->second)) == lowerPath) return true;
        }
        return false;
    }

  private:
    std::unordered_multimap<Text, const KnownFile*> byLastComponent_;
};

}  // namespace

bool IsSystemProcessNT(const Text& path) {
    static const KnownFiles files(kProcessesNT);
    return files.Holds(path);
}

bool IsSystemProcess9x(const Text& path) {
    static const KnownFiles files(kProcesses9x);
    return files.Holds(path);
}

bool IsSystemModuleNT(const Text& path) {
    static const KnownFiles files(kModulesNT);
    return files.Holds(path);
}

bool IsSystemModule9x(const Text& path) {
    static const KnownFiles files(kModules9x);
    return files.Holds(path);
}

}  // namespace bkfd
