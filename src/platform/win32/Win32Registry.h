#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The registry. A key's name with an embedded NUL, which these calls can't reach, is
/// `InvalidName`: cut at the NUL it would be another key's name. A value's name may hold one on the
/// NT family.
class Win32Registry : public Registry {
  public:
    Result<RegistryValue> RegQueryValueExW(RegistryBase base, TextView subkey,
                                           TextView name) override;
    Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                          const RegistryValue& value) override;
    Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) override;
    Result<std::vector<Text>> RegEnumKeyExW(RegistryBase base, TextView subkey) override;
    Result<std::vector<Text>> RegEnumValueW(RegistryBase base, TextView subkey) override;
    Status RegDeleteKeyW(RegistryBase base, TextView subkey) override;
};

/// The view in which classes that this program can load are registered.
RegistryView ViewOfThisProgram();

}  // namespace bkfd
