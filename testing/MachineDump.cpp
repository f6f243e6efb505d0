#include "testing/MachineDump.h"

#include <algorithm>
#include <cstdio>

#include "platform/RegistryValues.h"
#include "platform/RootNames.h"

namespace bkfd {
namespace {

std::string Hex(std::uint32_t number, int digits) {
    char room[16];
    std::snprintf(room, sizeof room, "%0*x", digits, number);
    return room;
}

bool IsPlainText(const RegistryValue& value) {
    return value.type == RegistryType::String &&
           value.data == MakeStringValue(TextOfValue(value)).data;
}

std::string DumpValue(const RegistryValue& value) {
    if (IsPlainText(value)) return '"' + ToUtf8(TextOfValue(value)) + '"';
    if (const auto number = NumberOfValue(value)) return "dword:" + Hex(*number, 8);
    std::string out = "hex(" + Hex(static_cast<std::uint32_t>(value.type), 1) + "):";
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        out += (i == 0 ? "" : ",") + Hex(value.data[i], 2);
    }
    return out;
}

void DumpKey(RegistryRoots& roots, RegistryRoot root, const Text& key, const std::string& path,
             std::string& out) {
    std::vector<Text> values = roots.EnumValues(root, key).value;
    std::vector<Text> subkeys = roots.EnumKeys(root, key).value;
    if (!values.empty() || (subkeys.empty() && !key.empty())) out += '[' + path + "]\n";
    std::ranges::sort(values, {}, [](const Text& name) { return ToLower(name); });
    for (const Text& name : values) {
        out += "  " + (name.empty() ? "@" : ToUtf8(name)) + " = " +
               DumpValue(roots.QueryValue(root, key, name).value) + '\n';
    }
    std::ranges::sort(subkeys, {}, [](const Text& name) { return ToLower(name); });
    for (const Text& name : subkeys) {
        DumpKey(roots, root, key.empty() ? name : key + u'\\' + name, path + '\\' + ToUtf8(name),
                out);
    }
}

}  // namespace

std::string DumpRegistry(const ModelMachine& machine) {
    std::string out;
    for (const RegistryRoot root : RegistryTree::kRoots) {
        DumpKey(machine.Roots(), root, {}, ToUtf8(RegistryRootName(root)), out);
    }
    return out;
}

std::string DumpFiles(const ModelMachine& machine) {
    std::string out;
    for (const VolumeEntry& entry : machine.AllFiles()) {
        const FileRule rule = machine.Rules().Get(entry.path);
        out += ToUtf8(entry.path);
        out += entry.isFolder ? " folder" : ' ' + std::to_string(entry.size);
        if (rule.attributes && *rule.attributes != FileAttribute::Archive) {
            out += " attributes " + std::to_string(*rule.attributes);
        }
        if (rule.isLocked) out += " locked";
        if (rule.isUnreadable) out += " unreadable";
        out += '\n';
    }
    return out;
}

std::string DumpProcesses(const ModelMachine& machine) {
    std::string out;
    for (const ProcessRecord& record : machine.ProcessRecords()) {
        out += "process " + std::to_string(record.id) + ' ' + ToUtf8(record.path);
        if (record.denied) out += " denied";
        if (record.self) out += " self";
        out += '\n';
        for (const Text& module : record.modules) out += "  " + ToUtf8(module) + '\n';
    }
    return out;
}

std::string Dump(const ModelMachine& machine) {
    return DumpRegistry(machine) + DumpFiles(machine) + DumpProcesses(machine);
}

}  // namespace bkfd
