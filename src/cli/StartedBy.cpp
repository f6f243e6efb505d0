#include "cli/StartedBy.h"

#include "platform/Machine.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {

std::string StartedBy(const ItemNode& item) {
    constexpr TextView kCommon = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\";
    const auto root = static_cast<RegistryRoot>(item.params(u"Key").Values(1).AsInteger());
    Text path = item.params(u"Hive").Values(1).AsText();
    if (path.starts_with(kCommon)) path = path.substr(kCommon.size());
    return std::string(root == RegistryRoot::LocalMachine ? "HKLM " : "HKCU ") +
           PrintableText(path) + ": " + PrintableText(item.params(u"ValueName").Values(1).AsText());
}

}  // namespace bkfd
