#pragma once

#include <vector>

#include "platform/model/ChangeLog.h"
#include "platform/model/MachineFacts.h"
#include "platform/model/RegistryRoots.h"

namespace bkfd {

/// The registry calls over a machine's roots. HKEY_CLASSES_ROOT is a view of the machine's
/// Software\Classes, and from Windows 2000 on of the user's, which are asked first.
class ModelRegistry final : public Registry {
  public:
    /// `log` may be null. The others must outlive this.
    ModelRegistry(RegistryRoots& roots, const MachineFacts& facts, ChangeLog* log);

    /// The key and all below it refuse reading, or writing, from now on.
    void DenyRead(RegistryRoot root, TextView key) { deniedReads_.push_back(Fold(root, key)); }
    void DenyWrite(RegistryRoot root, TextView key) { deniedWrites_.push_back(Fold(root, key)); }
    void CopyDenials(const ModelRegistry& from) {
        deniedReads_ = from.deniedReads_;
        deniedWrites_ = from.deniedWrites_;
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
    /// A place where a key that was asked for may stand.
    struct Place {
        RegistryRoot root = RegistryRoot::LocalMachine;
        Text key;
        Status found;  // whether there is such a key
    };
    using FoldedKey = std::pair<RegistryRoot, Text>;

    /// The path of the key in the native view.
    Text InNativeView(RegistryBase base, TextView subkey) const;
    static FoldedKey Fold(RegistryRoot root, TextView key);
    static bool IsWithin(const std::vector<FoldedKey>& denied, RegistryRoot root, TextView key);
    /// The key itself, not looked up.
    static Result<std::vector<Place>> OnePlace(RegistryRoot root, TextView subkey);
    /// The places behind a key, the preferred one first.
    Result<std::vector<Place>> PlacesOf(RegistryRoot root, TextView subkey);
    /// The same where the key is there, at least one; what can't be read is an error.
    Result<std::vector<Place>> FoundPlacesOf(RegistryRoot root, TextView subkey);
    /// The same for reading: only keys that are there and may be read, at least one.
    Result<std::vector<Place>> ReadablePlacesOf(RegistryRoot root, TextView subkey);
    using EnumCall = Result<std::vector<Text>> (RegistryRoots::*)(RegistryRoot, TextView);
    /// The names of all places, each once, as the first place spells it.
    Result<std::vector<Text>> EnumNames(RegistryBase base, TextView subkey, EnumCall call);
    Status Note(MachineChange::Kind kind, const Place& place, TextView name = {},
                const RegistryValue& value = {});

    RegistryRoots& roots_;
    const MachineFacts& facts_;
    ChangeLog* log_;
    std::vector<FoldedKey> deniedReads_;
    std::vector<FoldedKey> deniedWrites_;
};

}  // namespace bkfd
