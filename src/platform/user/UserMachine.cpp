#include "platform/user/UserMachine.h"

namespace bkfd {

UserMachine::UserMachine(Machine& target)
    : ForwardMachine(target, OpenGate()), registry_(target.RegistryKeys()) {}

UserMachine::UserRegistry::Place UserMachine::UserRegistry::PlaceOf(RegistryBase base,
                                                                    TextView subkey) const {
    if (base.root != RegistryRoot::CurrentUser || user_.empty()) return {base, Text(subkey)};
    // A path that the system refuses stays one.
    if (subkey.starts_with(u'\\')) return {base, Text(subkey)};
    return {{RegistryRoot::Users, base.view},
            subkey.empty() ? user_ : user_ + u'\\' + Text(subkey)};
}

UserMachine::UserRegistry::Place UserMachine::UserRegistry::PlaceToChange(RegistryBase base,
                                                                          TextView subkey) {
    if (base.root == RegistryRoot::ClassesRoot && hasClasses_ && !subkey.starts_with(u'\\')) {
        Place own{{RegistryRoot::Users, base.view},
                  user_ + u"\\Software\\Classes\\" + Text(subkey)};
        if (target_.RegEnumValueW(own.base, own.key).IsOk()) return own;
    }
    return PlaceOf(base, subkey);
}

Result<RegistryValue> UserMachine::UserRegistry::RegQueryValueExW(RegistryBase base,
                                                                  TextView subkey, TextView name) {
    const Place place = PlaceOf(base, subkey);
    return target_.RegQueryValueExW(place.base, place.key, name);
}

Status UserMachine::UserRegistry::RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                                                 const RegistryValue& value) {
    const Place place = PlaceToChange(base, subkey);
    return target_.RegSetValueExW(place.base, place.key, name, value);
}

Status UserMachine::UserRegistry::RegDeleteValueW(RegistryBase base, TextView subkey,
                                                  TextView name) {
    const Place place = PlaceToChange(base, subkey);
    return target_.RegDeleteValueW(place.base, place.key, name);
}

Result<std::vector<Text>> UserMachine::UserRegistry::RegEnumKeyExW(RegistryBase base,
                                                                   TextView subkey) {
    const Place place = PlaceOf(base, subkey);
    return target_.RegEnumKeyExW(place.base, place.key);
}

Result<std::vector<Text>> UserMachine::UserRegistry::RegEnumValueW(RegistryBase base,
                                                                   TextView subkey) {
    const Place place = PlaceOf(base, subkey);
    return target_.RegEnumValueW(place.base, place.key);
}

Status UserMachine::UserRegistry::RegDeleteKeyW(RegistryBase base, TextView subkey) {
    const Place place = PlaceToChange(base, subkey);
    return target_.RegDeleteKeyW(place.base, place.key);
}

}  // namespace bkfd
