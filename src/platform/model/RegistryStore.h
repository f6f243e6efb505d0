#pragma once

#include <memory>
#include <vector>

#include "platform/Machine.h"

namespace bkfd {

namespace SystemError {
inline constexpr std::uint32_t RegistryCorrupt = 1015;   // what holds the key can't be read
inline constexpr std::uint32_t NotSupportedByFile = 50;  // the form of the file can't hold it
}  // namespace SystemError

/// The keys and values of one registry file, or of several that are one to a user. Paths are
/// relative to its root, the empty path is the root. Names ignore case and keep theirs; a component
/// of a path may hold anything but a backslash. Links within the file are followed in paths, their
/// last component included, and never lead out of it. A key or value that isn't there is
/// `FileNotFound`, what is damaged is `RegistryCorrupt`. A change that fails changes nothing.
/// Changes stay in memory until the store's owner writes them.
class RegistryStore {
  public:
    virtual ~RegistryStore() = default;

    /// Success if the key is there and can be read.
    virtual Status FindKey(TextView key) { return EnumValues(key); }
    /// When the key was last written, FILETIME; 0 where the file doesn't say.
    virtual Result<std::uint64_t> LastWritten(TextView key) {
        const Status found = FindKey(key);
        if (!found.IsOk()) return found;
        return std::uint64_t{0};
    }
    virtual Result<RegistryValue> QueryValue(TextView key, TextView name) = 0;
    /// Names of the direct subkeys, in the file's order. One that can't be read stands there as the
    /// place of the damage, "\uFFFDcell 0x1a20", and asking for it is `RegistryCorrupt`, as is
    /// asking for any name that isn't found in a list with damage.
    virtual Result<std::vector<Text>> EnumKeys(TextView key) = 0;
    /// Names of the values likewise; the default value's is empty.
    virtual Result<std::vector<Text>> EnumValues(TextView key) = 0;
    /// Makes the key and the keys above it where they are missing.
    virtual Status MakeKey(TextView key) = 0;
    /// The same, and sets the value; an old one keeps its place and its name's case.
    virtual Status SetValue(TextView key, TextView name, const RegistryValue& value) = 0;
    virtual Status DeleteValue(TextView key, TextView name) = 0;
    /// A key with subkeys is `AccessDenied` and stays whole, as does the root. A link is deleted
    /// itself, not what it leads to.
    virtual Status DeleteKey(TextView key) = 0;

    /// A store of the same content whose changes stay its own and are never written. It must not
    /// outlive this one, which isn't changed while it is used.
    virtual std::unique_ptr<RegistryStore> Fork() const = 0;
};

}  // namespace bkfd
