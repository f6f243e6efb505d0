#include "platform/memory/RegistryTree.h"

#include <algorithm>
#include <utility>

namespace bkfd {
namespace {

struct RootNames {
    RegistryRoot root;
    TextView name;
    TextView shortName;
};

constexpr RootNames kRootNames[] = {
    {RegistryRoot::ClassesRoot, u"HKEY_CLASSES_ROOT", u"HKCR"},
    {RegistryRoot::CurrentUser, u"HKEY_CURRENT_USER", u"HKCU"},
    {RegistryRoot::LocalMachine, u"HKEY_LOCAL_MACHINE", u"HKLM"},
    {RegistryRoot::Users, u"HKEY_USERS", u"HKU"},
};

}  // namespace

TextView NextKeyComponent(TextView& rest) {
    while (!rest.empty() && rest.front() == u'\\') rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(u'\\'), rest.size());
    const TextView component = rest.substr(0, end);
    rest.remove_prefix(end);
    return component;
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
    values = from.values;
    subkeys.clear();
    for (const auto& [folded, key] : from.subkeys) {
        auto& copy = subkeys[folded];
        copy = std::make_unique<RegistryKey>(key->name);
        copy->CopyFrom(*key);
    }
}

const RegistryValue* RegistryKey::FindValue(TextView valueName) const {
    for (const NamedValue& named : values)
        if (EqualsIgnoreCase(named.name, valueName)) return &named.value;
    return nullptr;
}

void RegistryKey::SetValue(TextView valueName, RegistryValue value) {
    for (NamedValue& named : values) {
        if (!EqualsIgnoreCase(named.name, valueName)) continue;
        named.value = std::move(value);
        return;
    }
    values.push_back({Text(valueName), std::move(value)});
}

bool RegistryKey::RemoveValue(TextView valueName) {
    return std::erase_if(values, [&](const NamedValue& named) {
               return EqualsIgnoreCase(named.name, valueName);
           }) > 0;
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

TextView RegistryRootName(RegistryRoot root) {
    for (const RootNames& names : kRootNames)
        if (names.root == root) return names.name;
    return {};
}

bool SplitRegistryPath(TextView path, RegistryRoot& root, Text& key) {
    const TextView first = NextKeyComponent(path);
    for (const RootNames& names : kRootNames) {
        if (!EqualsIgnoreCase(first, names.name) && !EqualsIgnoreCase(first, names.shortName))
            continue;
        root = names.root;
        key = path.empty() ? Text() : Text(path.substr(1));
        return true;
    }
    return false;
}

RegistryValue MakeStringValue(TextView text, RegistryType type) {
    RegistryValue value{type, {}};
    value.data.reserve((text.size() + 1) * 2);
    for (const char16_t unit : text) {
        value.data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        value.data.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    value.data.insert(value.data.end(), 2, 0);
    return value;
}

RegistryValue MakeDwordValue(std::uint32_t number) {
    RegistryValue value{RegistryType::Dword, {}};
    for (int shift = 0; shift < 32; shift += 8)
        value.data.push_back(static_cast<std::uint8_t>(number >> shift));
    return value;
}

Text TextOfValue(const RegistryValue& value) {
    Text text;
    for (std::size_t i = 0; i + 1 < value.data.size(); i += 2)
        text.push_back(static_cast<char16_t>(value.data[i] | value.data[i + 1] << 8));
    while (!text.empty() && text.back() == u'\0') text.pop_back();
    return text;
}

}  // namespace bkfd
