#include "platform/model/RegistryRoots.h"

#include "platform/model/TreeStore.h"

namespace bkfd {

Status TreeRoots::FindKey(RegistryRoot root, TextView key) {
    return TreeStore(tree_.Root(root)).FindKey(key);
}

Result<RegistryValue> TreeRoots::QueryValue(RegistryRoot root, TextView key, TextView name) {
    return TreeStore(tree_.Root(root)).QueryValue(key, name);
}

Result<std::vector<Text>> TreeRoots::EnumKeys(RegistryRoot root, TextView key) {
    return TreeStore(tree_.Root(root)).EnumKeys(key);
}

Result<std::vector<Text>> TreeRoots::EnumValues(RegistryRoot root, TextView key) {
    return TreeStore(tree_.Root(root)).EnumValues(key);
}

Status TreeRoots::SetValue(RegistryRoot root, TextView key, TextView name,
                           const RegistryValue& value) {
    return TreeStore(tree_.Root(root)).SetValue(key, name, value);
}

Status TreeRoots::DeleteValue(RegistryRoot root, TextView key, TextView name) {
    return TreeStore(tree_.Root(root)).DeleteValue(key, name);
}

Status TreeRoots::DeleteKey(RegistryRoot root, TextView key) {
    return TreeStore(tree_.Root(root)).DeleteKey(key);
}

std::unique_ptr<RegistryRoots> TreeRoots::Fork() const {
    auto copy = std::make_unique<RegistryTree>();
    copy->CopyFrom(tree_);
    return std::make_unique<TreeRoots>(std::move(copy));
}

}  // namespace bkfd
