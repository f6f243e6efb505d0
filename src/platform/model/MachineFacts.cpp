#include "platform/model/MachineFacts.h"

namespace bkfd {

MachineFacts::MachineFacts(WindowsFamily windowsFamily)
    : family(windowsFamily),
      major(IsNT() ? 5 : 4),
      minor(IsNT() ? 1 : 10),
      build(IsNT() ? 2600 : 2222),
      servicePack(IsNT() ? u"Service Pack 2" : u"") {
    SetEnvironment(u"windir", u"C:\\WINDOWS");
    SetEnvironment(u"ProgramFiles", u"C:\\Program Files");
    if (IsNT()) {
        SetEnvironment(u"SystemRoot", u"C:\\WINDOWS");
        SetEnvironment(u"SystemDrive", u"C:");
    }
}

const Text* MachineFacts::Environment(TextView name) const {
    for (const auto& [variable, value] : environment) {
        if (EqualsIgnoreCase(variable, name)) return &value;
    }
    return nullptr;
}

void MachineFacts::SetEnvironment(TextView name, Text value) {
    for (auto& [variable, old] : environment) {
        if (!EqualsIgnoreCase(variable, name)) continue;
        old = std::move(value);
        return;
    }
    environment.emplace_back(name, std::move(value));
}

Text MachineFacts::WindowsFolder() const {
    const Text* folder = Environment(u"windir");
    Text path = folder != nullptr ? *folder : Text(u"C:\\WINDOWS");
    while (path.size() > 3 && path.back() == u'\\') path.pop_back();
    return path;
}

Text MachineFacts::SystemFolder() const {
    return WindowsFolder() + (IsNT() ? u"\\system32" : u"\\system");
}

}  // namespace bkfd
