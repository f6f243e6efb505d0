#include "components/Registration.h"

#include <vector>

#include "platform/RegistryValues.h"
#include "platform/win32/Win32Registry.h"

namespace bkfd {
namespace {

struct Entry {
    Text key;  // below HKEY_CLASSES_ROOT
    Text name;
    Text value;
};

/// In the order of making: a key stands before the keys below it.
std::vector<Entry> EntriesFor(const CustomClass& one, const Text& path) {
    const Text classKey = Text(u"CLSID\\") + one.classId;
    std::vector<Entry> entries = {
        {classKey, u"", one.title},
        {classKey + u"\\InprocServer32", u"", path},
        {classKey + u"\\InprocServer32", u"ThreadingModel", u"Apartment"},
    };
    if (one.progId != nullptr) {
        entries.push_back({classKey + u"\\ProgID", u"", one.progId});
        entries.push_back({one.progId, u"", one.title});
        entries.push_back({Text(one.progId) + u"\\CLSID", u"", one.classId});
    }
    return entries;
}

/// Of the programs that can load this file.
RegistryBase Classes() {
    return {RegistryRoot::ClassesRoot, ViewOfThisProgram()};
}

}  // namespace

Status RegisterClass(const CustomClass& one, const Text& path) {
    Win32Registry registry;
    for (const Entry& entry : EntriesFor(one, path)) {
        const Status written =
            registry.RegSetValueExW(Classes(), entry.key, entry.name, MakeStringValue(entry.value));
        if (!written.IsOk()) return written;
    }
    return {};
}

Status UnregisterClass(const CustomClass& one) {
    Win32Registry registry;
    const std::vector<Entry> entries = EntriesFor(one, {});
    Status outcome;
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        const Status deleted = registry.RegDeleteKeyW(Classes(), entry->key);
        if (!deleted.IsOk() && !deleted.IsNotThere()) outcome = deleted;
    }
    return outcome;
}

}  // namespace bkfd
