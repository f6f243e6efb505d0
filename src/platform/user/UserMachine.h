#pragma once

#include "platform/forward/ForwardMachine.h"

namespace bkfd {

/// A machine on which HKEY_CURRENT_USER is a key below HKEY_USERS, for a Windows of several users
/// that isn't running: what lies behind tells their keys apart.
class UserMachine final : public ForwardMachine {
  public:
    explicit UserMachine(Machine& target);

    /// The user's key below HKEY_USERS; empty for HKEY_CURRENT_USER as it is. A user with classes
    /// has them before the machine's in HKEY_CLASSES_ROOT.
    void SetUser(Text key, bool hasClasses) { registry_.SetUser(std::move(key), hasClasses); }

    Registry& RegistryKeys() override { return registry_; }

  private:
    class UserRegistry final : public Registry {
      public:
        explicit UserRegistry(Registry& target) : target_(target) {}
        void SetUser(Text key, bool hasClasses) {
            user_ = std::move(key);
            hasClasses_ = hasClasses;
        }

        Result<RegistryValue> RegQueryValueExW(RegistryBase base, TextView subkey,
                                               TextView name) override;
        Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                              const RegistryValue& value) override;
        Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) override;
        Result<std::vector<Text>> RegEnumKeyExW(RegistryBase base, TextView subkey) override;
        Result<std::vector<Text>> RegEnumValueW(RegistryBase base, TextView subkey) override;
        Status RegDeleteKeyW(RegistryBase base, TextView subkey) override;

      private:
        struct Place {
            RegistryBase base;
            Text key;
        };
        Place PlaceOf(RegistryBase base, TextView subkey) const;
        /// The same for a change: a key that is among the user's classes is the user's.
        Place PlaceToChange(RegistryBase base, TextView subkey);

        Registry& target_;
        Text user_;
        bool hasClasses_ = false;
    };

    UserRegistry registry_;
};

}  // namespace bkfd
