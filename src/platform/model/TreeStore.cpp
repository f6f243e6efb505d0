#include "platform/model/TreeStore.h"

namespace bkfd {

Status TreeStore::FindKey(TextView key) {
    return {root_.Find(key) == nullptr ? SystemError::FileNotFound : SystemError::Success};
}

Result<RegistryValue> TreeStore::QueryValue(TextView key, TextView name) {
    const RegistryKey* node = root_.Find(key);
    const RegistryValue* value = node == nullptr ? nullptr : node->values.Find(name);
    if (value == nullptr) return Status{SystemError::FileNotFound};
    return *value;
}

Result<std::vector<Text>> TreeStore::EnumKeys(TextView key) {
    const RegistryKey* node = root_.Find(key);
    if (node == nullptr) return Status{SystemError::FileNotFound};
    std::vector<Text> names;
    for (const auto& [folded, below] : node->subkeys) names.push_back(below->name);
    return names;
}

Result<std::vector<Text>> TreeStore::EnumValues(TextView key) {
    const RegistryKey* node = root_.Find(key);
    if (node == nullptr) return Status{SystemError::FileNotFound};
    std::vector<Text> names;
    for (const auto& value : node->values) names.push_back(value.name);
    return names;
}

Status TreeStore::MakeKey(TextView key) {
    (void)root_.Make(key);
    return {};
}

Status TreeStore::SetValue(TextView key, TextView name, const RegistryValue& value) {
    root_.Make(key).values.Set(name, value);
    return {};
}

Status TreeStore::DeleteValue(TextView key, TextView name) {
    RegistryKey* node = root_.Find(key);
    const bool wasThere = node != nullptr && node->values.Remove(name);
    return {wasThere ? SystemError::Success : SystemError::FileNotFound};
}

Status TreeStore::DeleteKey(TextView key) {
    const RegistryKey* node = root_.Find(key);
    if (node == nullptr) return {SystemError::FileNotFound};
    const bool isDeleted = node->subkeys.empty() && root_.Remove(key);
    return {isDeleted ? SystemError::Success : SystemError::AccessDenied};
}

std::unique_ptr<RegistryStore> TreeStore::Fork() const {
    auto copy = std::make_unique<RegistryKey>(root_.name);
    copy->CopyFrom(root_);
    return std::make_unique<TreeStore>(std::move(copy));
}

}  // namespace bkfd
