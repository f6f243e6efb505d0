#include "platform/model/RegistryTree.h"

#include <algorithm>
#include <utility>

#include "platform/RootNames.h"

namespace bkfd {
namespace {

struct ShortName {
    RegistryRoot root;
    TextView name;
};

constexpr ShortName kShortNames[] = {
    {RegistryRoot::ClassesRoot, u"HKCR"},
    {RegistryRoot::CurrentUser, u"HKCU"},
    {RegistryRoot::LocalMachine, u"HKLM"},
    {RegistryRoot::Users, u"HKU"},
};

/// Up to here a walk over the values is as quick as an index.
constexpr std::size_t kMostWithoutIndex = 16;

}  // namespace

void RegistryValues::CopyFrom(const RegistryValues& from) {
    index_.reset();
    list_ = from.list_;
}

RegistryValues::List::iterator RegistryValues::Locate(TextView name) {
    if (list_.size() <= kMostWithoutIndex) {
        index_.reset();
        return std::ranges::find_if(
            list_, [&](const NamedValue& one) { return EqualsIgnoreCase(one.name, name); });
    }
    if (!index_) {
        index_ = std::make_unique<Index>();
        for (auto one = list_.begin(); one != list_.end(); ++one) {
            index_->emplace(ToLower(one->name), one);
        }
    }
    const auto found = index_->find(ToLower(name));
    return found == index_->end() ? list_.end() : found->second;
}

const RegistryValue* RegistryValues::Find(TextView name) const {
    auto& self = const_cast<RegistryValues&>(*this);
    const auto found = self.Locate(name);
    return found == self.list_.end() ? nullptr : &found->value;
}

void RegistryValues::Set(TextView name, RegistryValue value) {
    const auto found = Locate(name);
    if (found != list_.end()) {
        found->value = std::move(value);
        return;
    }
    list_.push_back({Text(name), std::move(value)});
    if (index_) index_->emplace(ToLower(name), std::prev(list_.end()));
}

bool RegistryValues::Remove(TextView name) {
    const auto found = Locate(name);
    if (found == list_.end()) return false;
    if (index_) index_->erase(ToLower(name));
    list_.erase(found);
    return true;
}

TextView NextKeyComponent(TextView& rest) {
    while (!rest.empty() && rest.front() == u'\\') rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(u'\\'), rest.size());
    const TextView component = rest.substr(0, end);
    rest.remove_prefix(end);
    return component;
}

bool IsTooDeepKey(TextView path) {
    constexpr int kMostLevels = 512;
    int levels = 0;
    while (levels <= kMostLevels && !NextKeyComponent(path).empty()) ++levels;
    return levels > kMostLevels;
}

const RegistryKey* RegistryKey::Find(TextView path) const {
    const RegistryKey* key = this;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        const auto found = key->subkeys.find(ToLower(part));
        if (found == key->subkeys.end()) return nullptr;
        key = found->second.get();
    }
    return key;
}

RegistryKey* RegistryKey::Find(TextView path) {
    return const_cast<RegistryKey*>(static_cast<const RegistryKey*>(this)->Find(path));
}

RegistryKey& RegistryKey::Make(TextView path) {
    RegistryKey* key = this;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        auto& below = key->subkeys[ToLower(part)];
        if (!below) below = std::make_unique<RegistryKey>(Text(part));
        key = below.get();
    }
    return *key;
}

bool RegistryKey::Remove(TextView path) {
    RegistryKey* parent = nullptr;
    RegistryKey* key = this;
    Text folded;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        folded = ToLower(part);
        const auto found = key->subkeys.find(folded);
        if (found == key->subkeys.end()) return false;
        parent = key;
        key = found->second.get();
    }
    return parent != nullptr && parent->subkeys.erase(folded) > 0;
}

void RegistryKey::CopyFrom(const RegistryKey& from) {
    name = from.name;
    values.CopyFrom(from.values);
    subkeys.clear();
    for (const auto& [folded, key] : from.subkeys) {
        auto& copy = subkeys[folded];
        copy = std::make_unique<RegistryKey>(key->name);
        copy->CopyFrom(*key);
    }
}

RegistryTree::RegistryTree()
    : roots_{RegistryKey(Text(RegistryRootName(kRoots[0]))),
             RegistryKey(Text(RegistryRootName(kRoots[1]))),
             RegistryKey(Text(RegistryRootName(kRoots[2])))} {}

RegistryKey& RegistryTree::Root(RegistryRoot root) {
    return const_cast<RegistryKey&>(std::as_const(*this).Root(root));
}

const RegistryKey& RegistryTree::Root(RegistryRoot root) const {
    const auto found = std::find(std::begin(kRoots), std::end(kRoots), root);
    return roots_.at(static_cast<std::size_t>(found - std::begin(kRoots)));
}

bool SplitRegistryPath(TextView path, RegistryRoot& root, Text& key) {
    const TextView first = NextKeyComponent(path);
    for (const ShortName& known : kShortNames) {
        if (!EqualsIgnoreCase(first, RegistryRootName(known.root)) &&
            !EqualsIgnoreCase(first, known.name)) {
            continue;
        }
        root = known.root;
        key = path.empty() ? Text() : Text(path.substr(1));
        return true;
    }
    return false;
}

}  // namespace bkfd
