#include "platform/model/ModelRegistry.h"

#include <algorithm>
#include <unordered_set>

#include "platform/RegistryViews.h"

namespace bkfd {
namespace {

constexpr TextView kClasses = u"Software\\Classes";

}  // namespace

ModelRegistry::ModelRegistry(RegistryRoots& roots, const MachineFacts& facts, ChangeLog* log)
    : roots_(roots), facts_(facts), log_(log) {}

Text ModelRegistry::InNativeView(RegistryBase base, TextView subkey) const {
    return facts_.hasTwoViews ? NativeKey(base, subkey) : Text(subkey);
}

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
    auto places = OnePlace(root, subkey);
    if (!places.IsOk()) return places;
    if (root == RegistryRoot::ClassesRoot) {
        const Text key = Text(kClasses) + u'\\' + places.value[0].key;
        places.value.clear();
        if (facts_.HasUserClasses()) places.value.push_back({RegistryRoot::CurrentUser, key, {}});
        places.value.push_back({RegistryRoot::LocalMachine, key, {}});
    }
    for (Place& place : places.value) place.found = roots_.FindKey(place.root, place.key);
    return places;
}

Result<std::vector<ModelRegistry::Place>> ModelRegistry::OnePlace(RegistryRoot root,
                                                                  TextView subkey) {
    subkey = UpToNul(subkey);
    if (!subkey.empty() && subkey.front() == u'\\') return Status{SystemError::BadPathname};
    return std::vector<Place>{{root, Text(subkey), {}}};
}

Result<std::vector<ModelRegistry::Place>> ModelRegistry::FoundPlacesOf(RegistryRoot root,
                                                                       TextView subkey) {
    auto places = PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    for (const Place& place : places.value) {
        if (!place.found.IsOk() && !place.found.IsNotThere()) return place.found;
    }
    std::erase_if(places.value, [](const Place& place) { return !place.found.IsOk(); });
    if (places.value.empty()) return Status{SystemError::FileNotFound};
    return places;
}

Result<std::vector<ModelRegistry::Place>> ModelRegistry::ReadablePlacesOf(RegistryRoot root,
                                                                          TextView subkey) {
    if (IsWithin(deniedReads_, root, UpToNul(subkey))) return Status{SystemError::AccessDenied};
    // Of a key with one place the call itself tells whether it is there.
    const bool isOne = root != RegistryRoot::ClassesRoot;
    const auto places = isOne ? OnePlace(root, subkey) : PlacesOf(root, subkey);
    if (!places.IsOk()) return places;
    for (const Place& place : places.value) {
        if (IsWithin(deniedReads_, place.root, place.key)) return Status{SystemError::AccessDenied};
    }
    return isOne ? places : FoundPlacesOf(root, subkey);
}

Status ModelRegistry::Note(MachineChange::Kind kind, const Place& place, TextView name,
                           const RegistryValue& value) {
    if (log_ == nullptr) return {};
    return log_->Note({kind, place.root, place.key, Text(name), value, 0});
}

Result<RegistryValue> ModelRegistry::RegQueryValueExW(RegistryBase base, TextView subkey,
                                                      TextView name) {
    const auto places = ReadablePlacesOf(base.root, InNativeView(base, subkey));
    if (!places.IsOk()) return Status(places);
    for (const Place& place : places.value) {
        auto value = roots_.QueryValue(place.root, place.key, name);
        if (!value.IsNotThere()) return value;
    }
    return Status{SystemError::FileNotFound};
}

Status ModelRegistry::RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                                     const RegistryValue& value) {
    const RegistryRoot root = base.root;
    const Text native = InNativeView(base, subkey);
    const auto places = PlacesOf(root, native);
    if (!places.IsOk()) return places;
    const auto found = std::ranges::find_if(
        places.value, [](const Place& place) { return !place.found.IsNotThere(); });
    const Place& target = found == places.value.end() ? places.value.back() : *found;
    if (IsWithin(deniedWrites_, root, UpToNul(native)) ||
        IsWithin(deniedWrites_, target.root, target.key)) {
        return {SystemError::AccessDenied};
    }
    const Status noted = Note(MachineChange::Kind::SetValue, target, name, value);
    if (!noted.IsOk()) return noted;
    return roots_.SetValue(target.root, target.key, name, value);
}

Status ModelRegistry::RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) {
    const RegistryRoot root = base.root;
    const Text native = InNativeView(base, subkey);
    const auto places = PlacesOf(root, native);
    if (!places.IsOk()) return places;
    if (IsWithin(deniedWrites_, root, UpToNul(native))) return {SystemError::AccessDenied};
    for (const Place& place : places.value) {
        if (IsWithin(deniedWrites_, place.root, place.key)) return {SystemError::AccessDenied};
        if (place.found.IsNotThere()) continue;
        const Status value = roots_.QueryValue(place.root, place.key, name);
        if (value.IsNotThere()) continue;
        if (!value.IsOk()) return value;
        const Status noted = Note(MachineChange::Kind::DeleteValue, place, name);
        return noted.IsOk() ? roots_.DeleteValue(place.root, place.key, name) : noted;
    }
    return {SystemError::FileNotFound};
}

Result<std::vector<Text>> ModelRegistry::RegEnumKeyExW(RegistryBase base, TextView subkey) {
    return EnumNames(base, subkey, &RegistryRoots::EnumKeys);
}

Result<std::vector<Text>> ModelRegistry::RegEnumValueW(RegistryBase base, TextView subkey) {
    return EnumNames(base, subkey, &RegistryRoots::EnumValues);
}

Result<std::vector<Text>> ModelRegistry::EnumNames(RegistryBase base, TextView subkey,
                                                   EnumCall call) {
    const auto places = ReadablePlacesOf(base.root, InNativeView(base, subkey));
    if (!places.IsOk()) return Status(places);
    std::vector<Text> names;
    std::unordered_set<Text> seen;
    for (const Place& place : places.value) {
        auto here = (roots_.*call)(place.root, place.key);
        if (!here.IsOk() || places.value.size() == 1) return here;
        for (Text& name : here.value) {
            if (seen.insert(ToLower(name)).second) names.push_back(std::move(name));
        }
    }
    return names;
}

Status ModelRegistry::RegDeleteKeyW(RegistryBase base, TextView subkey) {
    const RegistryRoot root = base.root;
    const Text native = InNativeView(base, subkey);
    const auto places = PlacesOf(root, native);
    if (!places.IsOk()) return places;
    if (IsWithin(deniedWrites_, root, UpToNul(native))) return {SystemError::AccessDenied};
    TextView rest = UpToNul(native);
    if (NextKeyComponent(rest).empty()) return {SystemError::AccessDenied};
    for (const Place& place : places.value) {
        if (IsWithin(deniedWrites_, place.root, place.key)) return {SystemError::AccessDenied};
        if (place.found.IsNotThere()) continue;
        const auto below = roots_.EnumKeys(place.root, place.key);
        if (!below.IsOk()) return below;
        if (!below.value.empty()) return {SystemError::AccessDenied};
        const Status noted = Note(MachineChange::Kind::DeleteKey, place);
        return noted.IsOk() ? roots_.DeleteKey(place.root, place.key) : noted;
    }
    return {SystemError::FileNotFound};
}

}  // namespace bkfd
