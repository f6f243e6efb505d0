#pragma once

#include <map>

#include "platform/model/RegistryRoots.h"

namespace bkfd {

/// The registry of a Windows that isn't running: stores of registry files, each seen at a key, as
/// Windows loads them. Keys above and between them have no values and can't be changed.
class VolumeRegistry final : public RegistryRoots {
  public:
    using Store = std::shared_ptr<RegistryStore>;

    /// What lies below `below` in the store is seen below the key, such as HKLM\SYSTEM. A store may
    /// be mounted at several keys; a mount within another one hides what lies there.
    void Mount(RegistryRoot root, TextView key, Store store, TextView below = {});
    /// The key stands for what a registry file lacks that can't be read; it and all below it fail
    /// with `error`.
    void MountUnreadable(RegistryRoot root, TextView key, Status error);
    /// What is mounted at the other key and within it is seen at this one too, and nothing else.
    void MountAlso(RegistryRoot root, TextView key, RegistryRoot otherRoot, TextView other);
    /// Nothing is seen at the key any more.
    void Unmount(RegistryRoot root, TextView key);

    /// As of the store that holds the key.
    Result<std::uint64_t> LastWritten(RegistryRoot root, TextView key) const;

    Status FindKey(RegistryRoot root, TextView key) override;
    Result<RegistryValue> QueryValue(RegistryRoot root, TextView key, TextView name) override;
    Result<std::vector<Text>> EnumKeys(RegistryRoot root, TextView key) override;
    Result<std::vector<Text>> EnumValues(RegistryRoot root, TextView key) override;
    Status SetValue(RegistryRoot root, TextView key, TextView name,
                    const RegistryValue& value) override;
    Status DeleteValue(RegistryRoot root, TextView key, TextView name) override;
    Status DeleteKey(RegistryRoot root, TextView key) override;
    std::unique_ptr<RegistryRoots> Fork() const override;

  private:
    struct Mounted {
        Text name;  // the key's last component
        Store store;
        Text below;
        Status error;
    };
    /// Where a key of the registry stands.
    struct Place {
        RegistryStore* store = nullptr;
        Text key;
        Status error;  // `FileNotFound` where nothing is mounted
        bool isMount = false;
    };
    using Mounts = std::map<Text, Mounted, TextLess>;  // by lower-cased path

    Place Locate(RegistryRoot root, TextView key) const;
    /// Names of mounts directly below the key, or of keys that lead to one.
    std::vector<Text> MountsBelow(RegistryRoot root, TextView key) const;

    std::map<RegistryRoot, Mounts> mounts_;
};

}  // namespace bkfd
