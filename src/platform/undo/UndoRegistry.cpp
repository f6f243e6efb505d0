#include <algorithm>

#include "platform/RegistryViews.h"
#include "platform/undo/UndoMachine.h"

namespace bkfd {
namespace {

constexpr TextView kClasses = u"Software\\Classes";

/// The key without doubled backslashes and one at its end, up to its first NUL.
Text Normal(TextView key) {
    key = UpToNul(key);
    Text normal;
    for (std::size_t begin = 0; begin < key.size();) {
        const std::size_t end = std::min(key.find(u'\\', begin), key.size());
        if (end > begin) {
            if (!normal.empty()) normal += u'\\';
            normal += key.substr(begin, end - begin);
        }
        begin = end + 1;
    }
    return normal;
}

Text ParentOf(const Text& key) {
    const std::size_t last = key.rfind(u'\\');
    return last == Text::npos ? Text() : key.substr(0, last);
}

Text FoldedPlace(RegistryRoot root, const Text& key) {
    return ToHex(static_cast<std::uint32_t>(root)) + ToLower(key);
}

UndoChange ChangeOf(UndoChange::Kind kind, RegistryRoot root, const Text& key) {
    UndoChange change;
    change.kind = kind;
    change.root = root;
    change.name = key;
    return change;
}

/// The system refuses such a key by itself.
bool IsRefused(TextView subkey) {
    return subkey.starts_with(u'\\');
}

}  // namespace

/// A failure where the registry doesn't tell. A key that holds a value is there; that is asked
/// first, since a list of values may be long.
Result<bool> UndoMachine::UndoRegistry::Exists(const Place& place) {
    if (place.key.empty()) return true;
    const Text folded = FoldedPlace(place.root, place.key);
    const auto seen = seenValues_.find(folded);
    if (seen != seenValues_.end() &&
        target_.RegQueryValueExW(place.root, place.key, seen->second).IsOk()) {
        return true;
    }
    const auto values = target_.RegEnumValueW(place.root, place.key);
    if (!values.IsOk() && !values.IsNotThere()) return Status(values);
    if (values.IsOk() && !values.value.empty()) seenValues_[folded] = values.value.back();
    return values.IsOk();
}

/// Whether the view of all classes shows those of the root: the user's from Windows 2000 on.
bool UndoMachine::UndoRegistry::Shows(RegistryRoot root) {
    constexpr std::uint32_t kWindows2000 = 5;
    const std::uint32_t version = system_.GetVersion();
    return root != RegistryRoot::CurrentUser ||
           (IsVersionOfNT(version) && (version & 0xFF) >= kWindows2000);
}

/// Where the system looks for a key, and where a `value` is named, for that value.
Result<UndoMachine::UndoRegistry::Place> UndoMachine::UndoRegistry::PlaceOf(RegistryRoot root,
                                                                            TextView subkey,
                                                                            const TextView* value) {
    const Text key = Normal(subkey);
    if (root != RegistryRoot::ClassesRoot) return Place{root, key};
    const Text below = key.empty() ? Text(kClasses) : Text(kClasses) + u"\\" + key;
    const Place machines{RegistryRoot::LocalMachine, below};
    const Place users{RegistryRoot::CurrentUser, below};
    if (!Shows(users.root)) return machines;
    if (value == nullptr) {
        const auto exists = Exists(users);
        if (!exists.IsOk()) return Status(exists);
        return exists.value ? users : machines;
    }
    const auto read = target_.RegQueryValueExW(users.root, users.key, *value);
    if (!read.IsOk() && !read.IsNotThere()) return Status(read);
    return read.IsOk() ? users : machines;
}

Status UndoMachine::UndoRegistry::AddMissingKeys(const Place& place,
                                                 std::vector<UndoChange>& changes) {
    std::vector<Text> missing;
    for (Text key = place.key;; key = ParentOf(key)) {
        const auto exists = Exists({place.root, key});
        if (!exists.IsOk()) return exists;
        if (exists.value) break;
        missing.push_back(key);
    }
    for (auto key = missing.rbegin(); key != missing.rend(); ++key) {
        changes.push_back(ChangeOf(UndoChange::Kind::MakeKey, place.root, *key));
    }
    return {};
}

Status UndoMachine::UndoRegistry::RegSetValueExW(RegistryBase base, TextView path, TextView name,
                                                 const RegistryValue& value) {
    const RegistryRoot root = base.root;
    const Text subkey = NativeKey(system_, base, path);
    const auto set = [&] { return target_.RegSetValueExW(root, subkey, name, value); };
    if (IsRefused(subkey)) return set();
    const auto found = PlaceOf(root, subkey, nullptr);
    if (!found.IsOk()) return found;
    const Place& place = found.value;
    const auto before = target_.RegQueryValueExW(place.root, place.key, name);
    if (!before.IsOk() && !before.IsNotThere()) return before;
    if (before.IsOk() && before.value == value) return set();
    std::vector<UndoChange> changes;
    if (!before.IsOk()) {
        const Status added = AddMissingKeys(place, changes);
        if (!added.IsOk()) return added;
    }
    UndoChange change = ChangeOf(UndoChange::Kind::SetValue, place.root, place.key);
    change.value = name;
    if (before.IsOk()) change.before = before.value;
    change.after = value;
    changes.push_back(std::move(change));
    const Status noted = recorder_.Note(changes);
    return noted.IsOk() ? recorder_.Tell(set()) : noted;
}

Result<std::vector<NamedRegistryValue>> UndoMachine::UndoRegistry::ValuesOf(const Place& place) {
    const auto names = target_.RegEnumValueW(place.root, place.key);
    if (!names.IsOk()) return Status(names);
    std::vector<NamedRegistryValue> values;
    for (const Text& name : names.value) {
        auto value = target_.RegQueryValueExW(place.root, place.key, name);
        if (!value.IsOk()) return Status(value);
        values.push_back({name, std::move(value.value)});
    }
    return values;
}

Status UndoMachine::UndoRegistry::AddOrder(const Place& place, std::vector<UndoChange>& changes) {
    const Text folded = FoldedPlace(place.root, place.key);
    if (recorder_.NamesIn(folded) != nullptr) return {};
    const auto names = target_.RegEnumValueW(place.root, place.key);
    if (!names.IsOk()) return names;
    UndoChange order = ChangeOf(UndoChange::Kind::ValueOrder, place.root, place.key);
    for (const Text& name : names.value) order.values.push_back({name, {}});
    recorder_.KeepNames(folded, order.values);
    changes.push_back(std::move(order));
    return {};
}

Status UndoMachine::UndoRegistry::RegDeleteValueW(RegistryBase base, TextView path, TextView name) {
    const RegistryRoot root = base.root;
    const Text subkey = NativeKey(system_, base, path);
    const auto remove = [&] { return target_.RegDeleteValueW(root, subkey, name); };
    if (IsRefused(subkey)) return remove();
    const auto found = PlaceOf(root, subkey, &name);
    if (!found.IsOk()) return found;
    const Place& place = found.value;
    const auto before = target_.RegQueryValueExW(place.root, place.key, name);
    if (before.IsNotThere()) return remove();
    if (!before.IsOk()) return before;
    if (recorder_.IsOff()) return remove();
    Status noted = recorder_.Open();
    std::vector<UndoChange> changes;
    if (noted.IsOk()) noted = AddOrder(place, changes);
    if (!noted.IsOk()) return noted;
    UndoChange change = ChangeOf(UndoChange::Kind::DeleteValue, place.root, place.key);
    const Text& spelled = (*recorder_.NamesIn(FoldedPlace(place.root, place.key)))[ToLower(name)];
    change.value = spelled.empty() ? Text(name) : spelled;
    change.before = before.value;
    changes.push_back(std::move(change));
    noted = recorder_.Note(changes);
    return noted.IsOk() ? recorder_.Tell(remove()) : noted;
}

/// The key with its last name as the registry has it.
Result<Text> UndoMachine::UndoRegistry::Spelled(const Place& place) {
    const Text parent = ParentOf(place.key);
    const Text name = parent.empty() ? place.key : place.key.substr(parent.size() + 1);
    const Text folded = FoldedPlace(place.root, parent);
    if (folded != spelledParent_ || !spelled_.contains(ToLower(name))) {
        spelledParent_ = folded;
        spelled_.clear();
        const auto names = target_.RegEnumKeyExW(place.root, parent);
        if (!names.IsOk()) return Status(names);
        for (const Text& one : names.value) spelled_[ToLower(one)] = one;
    }
    const auto found = spelled_.find(ToLower(name));
    if (found == spelled_.end()) return place.key;
    const Text spelled = found->second;
    spelled_.erase(found);  // with the key
    return parent.empty() ? spelled : parent + u"\\" + spelled;
}

Status UndoMachine::UndoRegistry::RegDeleteKeyW(RegistryBase base, TextView path) {
    const RegistryRoot root = base.root;
    const Text subkey = NativeKey(system_, base, path);
    const auto remove = [&] { return target_.RegDeleteKeyW(root, subkey); };
    const auto found = PlaceOf(root, subkey, nullptr);
    if (!found.IsOk()) return found;
    const Place& place = found.value;
    if (IsRefused(subkey) || place.key.empty()) return remove();
    const auto below = target_.RegEnumKeyExW(place.root, place.key);
    if (below.IsNotThere() || (below.IsOk() && !below.value.empty())) return remove();
    if (!below.IsOk()) return below;
    auto values = ValuesOf(place);
    if (!values.IsOk()) return values;
    const auto spelled = Spelled(place);
    if (!spelled.IsOk()) return spelled;
    UndoChange change = ChangeOf(UndoChange::Kind::DeleteKey, place.root, spelled.value);
    change.values = std::move(values.value);
    const Status noted = recorder_.Note({change});
    return noted.IsOk() ? recorder_.Tell(remove()) : noted;
}

}  // namespace bkfd
