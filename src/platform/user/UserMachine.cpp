#include "platform/user/UserMachine.h"

namespace bkfd {

UserMachine::UserMachine(Machine& target)
    : ForwardMachine(target, OpenGate()), registry_(target.RegistryKeys()) {}

UserMachine::UserRegistry::Place UserMachine::UserRegistry::PlaceOf(RegistryRoot root,
                                                                    TextView subkey) const {
    if (root != RegistryRoot::CurrentUser || user_.empty()) return {root, Text(subkey)};
    // A path that the system refuses stays one.
    if (subkey.starts_with(u'\\')) return {root, Text(subkey)};
    return {RegistryRoot::Users, subkey.empty() ? user_ : user_ + u'\\' + Text(subkey)};
}

UserMachine::UserRegistry::Place UserMachine::UserRegistry::PlaceToChange(RegistryRoot root,
                                                                          TextView subkey) {
    if (root == RegistryRoot::ClassesRoot && hasClasses_ && !subkey.starts_with(u'\\')) {
        Place own{RegistryRoot::Users, user_ + u"\\Software\\Classes\\" + Text(subkey)};
        if (target_.RegEnumValueW(own.root, own.key).IsOk()) return own;
    }
    return PlaceOf(root, subkey);
}

Result<RegistryValue> UserMachine::UserRegistry::RegQueryValueExW(RegistryRoot root,
                                                                  TextView subkey, TextView name) {
    const Place place = PlaceOf(root, subkey);
    return target_.RegQueryValueExW(place.root, place.key, name);
}

Status UserMachine::UserRegistry::RegSetValueExW(RegistryRoot root, TextView subkey, TextView name,
                                                 const RegistryValue& value) {
    const Place place = PlaceToChange(root, subkey);
    return target_.RegSetValueExW(place.root, place.key, name, value);
}

Status UserMachine::UserRegistry::RegDeleteValueW(RegistryRoot root, TextView subkey,
                                                  TextView name) {
    const Place place = PlaceToChange(root, subkey);
    return target_.RegDeleteValueW(place.root, place.key, name);
}

Result<std::vector<Text>> UserMachine::UserRegistry::RegEnumKeyExW(RegistryRoot root,
                                                                   TextView subkey) {
    const Place place = PlaceOf(root, subkey);
    return target_.RegEnumKeyExW(place.root, place.key);
}

Result<std::vector<Text>> UserMachine::UserRegistry::RegEnumValueW(RegistryRoot root,
                                                                   TextView subkey) {
    const Place place = PlaceOf(root, subkey);
    return target_.RegEnumValueW(place.root, place.key);
}

Status UserMachine::UserRegistry::RegDeleteKeyW(RegistryRoot root, TextView subkey) {
    const Place place = PlaceToChange(root, subkey);
    return target_.RegDeleteKeyW(place.root, place.key);
}

}  // namespace bkfd
