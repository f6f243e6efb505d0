#include "platform/model/ModelRegistry.h"

#include <algorithm>
#include <set>

namespace bkfd {
namespace {

constexpr TextView kClasses = u"Software\\Classes";

}  // namespace

ModelRegistry::ModelRegistry(RegistryTree& tree, bool hasUserClasses, ChangeLog* log)
    : tree_(tree), hasUserClasses_(hasUserClasses), log_(log) {}

ModelRegistry::FoldedKey ModelRegistry::Fold(RegistryRoot root, TextView key) {
    Text folded;
    for (TextView part = NextKeyComponent(key); !part.empty(); part = NextKeyComponent(key)) {
        folded.append(ToLower(part)).push_back(u'\\');
    }
    return {root, folded};
}

bool ModelRegistry::IsWithin(const std::vector<FoldedKey>& denied, RegistryRoot root,
                             TextView key) {
    if (denied.empty()) return false;
    const FoldedKey folded = Fold(root, key);
    return std::any_of(denied.begin(), denied.end(), [&](const FoldedKey& one) {
        return one.first == root && folded.second.starts_with(one.second);
    });
}

Result<std::vector<ModelRegistry::Place>> ModelRegistry::PlacesOf(RegistryRoot root,
                                                                  TextView subkey) {
    subkey = UpToNul(subkey);
    if (!subkey.empty() && subkey.front() == u'\\') return Status{SystemError::BadPathname};
    std::vector<Place> places;
    const auto add = [&](RegistryRoot real, Text key) {
        RegistryKey* node = tree_.Root(real).Find(key);
        places.push_back({real, std::move(key), node});
    };
    if (root != RegistryRoot::ClassesRoot) {
        add(root, Text(subkey));
        return places;
    }
    const Text key = Text(kClasses) + u'\\' + Text(subkey);
    if (hasUserClasses_) add(RegistryRoot::CurrentUser, key);
    add(RegistryRoot::LocalMachine, key);
    return places;
}

Result<std::vector<ModelRegistry::Place>> ModelRegistry::ReadablePlacesOf(RegistryRoot root,
                                                                          TextView subkey) {
    if (IsWithin(deniedReads_, root, UpToNul(subkey))) return Status{SystemError::AccessDenied};
    auto places = PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    for (const Place& place : places.value) {
        if (IsWithin(deniedReads_, place.root, place.key)) return Status{SystemError::AccessDenied};
    }
    std::erase_if(places.value, [](const Place& place) { return place.node == nullptr; });
    if (places.value.empty()) return Status{SystemError::FileNotFound};
    return places;
}

Status ModelRegistry::Note(MachineChange::Kind kind, const Place& place, TextView name,
                           const RegistryValue& value) {
    if (log_ == nullptr) return {};
    return log_->Note({kind, place.root, place.key, Text(name), value, 0});
}

Result<RegistryValue> ModelRegistry::RegQueryValueExW(RegistryRoot root, TextView subkey,
                                                      TextView name) {
    const auto places = ReadablePlacesOf(root, subkey);
    if (!places.IsOk()) return Status(places);
    for (const Place& place : places.value) {
        if (const RegistryValue* value = place.node->values.Find(UpToNul(name))) return *value;
    }
    return Status{SystemError::FileNotFound};
}

Status ModelRegistry::RegSetValueExW(RegistryRoot root, TextView subkey, TextView name,
                                     const RegistryValue& value) {
    name = UpToNul(name);
    const auto places = PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    const Place* target = &places.value.back();
    for (const Place& place : places.value) {
        if (place.node == nullptr) continue;
        target = &place;
        break;
    }
    if (IsWithin(deniedWrites_, root, UpToNul(subkey)) ||
        IsWithin(deniedWrites_, target->root, target->key)) {
        return {SystemError::AccessDenied};
    }
    const Status noted = Note(MachineChange::Kind::SetValue, *target, name, value);
    if (!noted.IsOk()) return noted;
    tree_.Root(target->root).Make(target->key).values.Set(name, value);
    return {};
}

Status ModelRegistry::RegDeleteValueW(RegistryRoot root, TextView subkey, TextView name) {
    name = UpToNul(name);
    const auto places = PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    if (IsWithin(deniedWrites_, root, UpToNul(subkey))) return {SystemError::AccessDenied};
    for (const Place& place : places.value) {
        if (IsWithin(deniedWrites_, place.root, place.key)) return {SystemError::AccessDenied};
        if (place.node == nullptr || place.node->values.Find(name) == nullptr) continue;
        const Status noted = Note(MachineChange::Kind::DeleteValue, place, name);
        if (noted.IsOk()) place.node->values.Remove(name);
        return noted;
    }
    return {SystemError::FileNotFound};
}

Result<std::vector<Text>> ModelRegistry::RegEnumKeyExW(RegistryRoot root, TextView subkey) {
    const auto places = ReadablePlacesOf(root, subkey);
    if (!places.IsOk()) return Status(places);
    std::vector<Text> names;
    std::set<TextView> seen;
    for (const Place& place : places.value) {
        for (const auto& [folded, key] : place.node->subkeys) {
            if (seen.insert(folded).second) names.push_back(key->name);
        }
    }
    return names;
}

Result<std::vector<Text>> ModelRegistry::RegEnumValueW(RegistryRoot root, TextView subkey) {
    const auto places = ReadablePlacesOf(root, subkey);
    if (!places.IsOk()) return Status(places);
    std::vector<Text> names;
    for (const Place& place : places.value) {
        const bool isFirst = &place == &places.value.front();
        for (const auto& named : place.node->values) {
            if (isFirst || places.value.front().node->values.Find(named.name) == nullptr) {
                names.push_back(named.name);
            }
        }
    }
    return names;
}

Status ModelRegistry::RegDeleteKeyW(RegistryRoot root, TextView subkey) {
    const auto places = PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    if (IsWithin(deniedWrites_, root, UpToNul(subkey))) return {SystemError::AccessDenied};
    TextView rest = UpToNul(subkey);
    if (NextKeyComponent(rest).empty()) return {SystemError::AccessDenied};
    for (const Place& place : places.value) {
        if (IsWithin(deniedWrites_, place.root, place.key)) return {SystemError::AccessDenied};
        if (place.node == nullptr) continue;
        if (!place.node->subkeys.empty()) return {SystemError::AccessDenied};
        const Status noted = Note(MachineChange::Kind::DeleteKey, place);
        if (noted.IsOk()) tree_.Root(place.root).Remove(place.key);
        return noted;
    }
    return {SystemError::FileNotFound};
}

}  // namespace bkfd
