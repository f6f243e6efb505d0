#include "platform/model/ModelComponents.h"

#include <algorithm>
#include <random>

namespace bkfd {

void ModelComponents::Install(TextView name, std::function<ObjectRef()> make) {
    installed_[ToLower(name)] = std::move(make);
}

bool ModelComponents::IsMissing(const ComponentClass& component) const {
    return std::any_of(facts_.missingComponents.begin(), facts_.missingComponents.end(),
                       [&](const Text& name) {
                           return EqualsIgnoreCase(name, component.progId) ||
                                  EqualsIgnoreCase(name, component.classId) ||
                                  EqualsIgnoreCase(name, component.file);
                       });
}

Result<ObjectRef> ModelComponents::CoCreateInstance(const ComponentClass& component) {
    if (IsMissing(component)) return Status{SystemError::ClassNotRegistered};
    for (const Text* name : {&component.progId, &component.classId, &component.file}) {
        const auto found = installed_.find(ToLower(*name));
        if (!name->empty() && found != installed_.end()) return found->second();
    }
    const auto found = registered_.find(ToLower(component.file));
    if (component.file.empty() || found == registered_.end()) {
        return Status{SystemError::ClassNotRegistered};
    }
    return found->second();
}

void ModelComponents::CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) {
    registered_[ToLower(file)] = std::move(make);
}

Text ModelComponents::CoCreateGuid() {
    std::random_device device;
    // Version 4, variant 1 (RFC 4122).
    const std::uint32_t second = (device() & 0xFFFF'0FFF) | 0x4000;
    const std::uint32_t third = (device() & 0x3FFF'FFFF) | 0x8000'0000;
    const Text digits = ToHex(device()) + ToHex(second) + ToHex(third) + ToHex(device());
    return u"{" + digits.substr(0, 8) + u"-" + digits.substr(8, 4) + u"-" + digits.substr(12, 4) +
           u"-" + digits.substr(16, 4) + u"-" + digits.substr(20) + u"}";
}

}  // namespace bkfd
