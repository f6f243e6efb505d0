#include "platform/model/MachineFacts.h"

#include <algorithm>

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

Text MachineFacts::ExpandVariables(TextView text) const {
    Text out;
    while (!text.empty()) {
        const std::size_t start = std::min(text.find(u'%'), text.size());
        out += text.substr(0, start);
        text.remove_prefix(start);
        const std::size_t end = text.empty() ? Text::npos : text.find(u'%', 1);
        if (end == Text::npos) break;
        const Text* value = Environment(text.substr(1, end - 1));
        // The closing sign of a name that isn't set may open the next one.
        out += value != nullptr ? TextView(*value) : text.substr(0, end);
        text.remove_prefix(value != nullptr ? end + 1 : end);
    }
    return out.append(text);
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

std::vector<Text> MachineFacts::FoldersBehindSystem() const {
    std::vector<Text> folders;
    if (IsNT()) folders.push_back(WindowsFolder() + u"\\system");
    folders.push_back(WindowsFolder());
    const Text* path = Environment(u"PATH");
    TextView rest = path == nullptr ? TextView() : TextView(*path);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(u';'), rest.size());
        if (end > 0) folders.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return folders;
}

}  // namespace bkfd
