#include "cli/StartedBy.h"

#include "platform/RegistryViews.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {

std::string StartedBy(const Text& key, const Text& valueName, RegistryView view) {
    constexpr struct {
        TextView root;
        const char* shown;
    } kRoots[] = {{u"HKEY_LOCAL_MACHINE\\", "HKLM "}, {u"HKEY_CURRENT_USER\\", "HKCU "}};
    constexpr TextView kCommon = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\";
    std::string shown;
    TextView path = key;
    for (const auto& [root, name] : kRoots) {
        if (!path.starts_with(root)) continue;
        shown = name;
        path.remove_prefix(root.size());
    }
    if (path.starts_with(kCommon)) path.remove_prefix(kCommon.size());
    return shown + PrintableText(path) + ToUtf8(ViewSuffix(view)) + ": " + PrintableText(valueName);
}

}  // namespace bkfd
