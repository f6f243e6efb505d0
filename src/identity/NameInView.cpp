#include "identity/NameInView.h"

#include <algorithm>
#include <array>

#include "services/ApplicationState.h"
#include "services/FileUtil.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

/// Below system32, what all programs see alike. From "File System Redirector" of Microsoft's
/// documentation.
constexpr TextView kShared[] = {u"catroot\\",      u"catroot2\\", u"driverstore\\",
                                u"drivers\\etc\\", u"logfiles\\", u"spool\\"};

/// Variables that have another value for 32-bit programs, and the name of that value.
constexpr std::array<TextView, 2> kVariables[] = {
    {u"%ProgramFiles%", u"%ProgramFiles(x86)%"},
    {u"%CommonProgramFiles%", u"%CommonProgramFiles(x86)%"},
};

/// Takes the beginning from the text if it has it, whatever the case.
bool TakeBeginning(TextView& text, TextView beginning) {
    if (!EqualsIgnoreCase(text.substr(0, beginning.size()), beginning)) return false;
    text.remove_prefix(beginning.size());
    return true;
}

Text Expanded(TextView name) {
    for (const auto& [variable, of32Bits] : kVariables) {
        TextView below = name;
        if (!TakeBeginning(below, variable)) continue;
        const Text folder = SysUtil::ExpandEnvironment(Text(of32Bits));
        if (folder != of32Bits) return folder + Text(below);
    }
    return SysUtil::ExpandEnvironment(Text(name));
}

}  // namespace

Text NameInView(RegistryView view, const Text& fileName) {
    if (view == RegistryView::Native || fileName.empty()) return fileName;
    SystemFacts& system = TheMachine().System();
    const auto folder = system.GetSystemWow64DirectoryW();
    if (!folder.IsOk()) return fileName;
    const Text folder32 = WithBackslash(folder.value);
    const Text name = Expanded(fileName);
    TextView below = name;
    if (TakeBeginning(below, gSystemPath)) {
        const bool isShared = std::ranges::any_of(
            kShared, [&](TextView shared) { return TakeBeginning(below, shared); });
        return isShared ? name : folder32 + Text(below);
    }
    if (TakeBeginning(below, gWindowsPath + u"sysnative\\")) {
        return system.IsWow64Process() ? name : gSystemPath + Text(below);
    }
    const bool isBare = name.find_first_of(u"\\/:") == Text::npos;
    if (isBare && FileUtil::FileExists(folder32 + name)) return folder32 + name;
    return name == fileName || isBare ? fileName : name;
}

}  // namespace bkfd
