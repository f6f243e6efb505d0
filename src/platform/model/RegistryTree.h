#pragma once

#include <array>
#include <list>
#include <map>
#include <memory>
#include <unordered_map>

#include "platform/Machine.h"

namespace bkfd {

struct TextLess {
    using is_transparent = void;
    bool operator()(TextView a, TextView b) const { return a < b; }
};

/// The values of a key in the order in which they were made. Names ignore case.
class RegistryValues {
  public:
    struct NamedValue {
        Text name;
        RegistryValue value;
    };
    using List = std::list<NamedValue>;

    void CopyFrom(const RegistryValues& from);

    bool IsEmpty() const { return list_.empty(); }
    List::const_iterator begin() const { return list_.begin(); }
    List::const_iterator end() const { return list_.end(); }

    /// Null if there is no value of the name.
    const RegistryValue* Find(TextView name) const;
    /// A new value comes behind the others, an old one keeps its place and its name's case.
    void Set(TextView name, RegistryValue value);
    bool Remove(TextView name);

  private:
    using Index = std::unordered_map<Text, List::iterator>;  // by lower-cased name

    List::iterator Locate(TextView name);

    List list_;
    std::unique_ptr<Index> index_;  // only of many values: most keys have a few
};

/// One key with its values and subkeys. Names ignore case and keep the case that they came with.
class RegistryKey {
  public:
    using Subkeys = std::map<Text, std::unique_ptr<RegistryKey>, TextLess>;

    explicit RegistryKey(Text keyName) : name(std::move(keyName)) {}

    /// The key below this one by its path, null if it isn't there; the empty path is this key.
    /// Backslashes at the end and doubled ones don't count.
    RegistryKey* Find(TextView path);
    const RegistryKey* Find(TextView path) const;
    /// The same, made with all above it where they are missing.
    RegistryKey& Make(TextView path);
    /// Removes the key at `path` with all below it; false if it isn't there or `path` is empty.
    bool Remove(TextView path);

    /// Becomes a copy, with all below it.
    void CopyFrom(const RegistryKey& from);

    Text name;
    RegistryValues values;
    Subkeys subkeys;  // under their lower-cased names
};

/// The keys of a machine below the roots that hold keys of their own.
class RegistryTree {
  public:
    static constexpr RegistryRoot kRoots[] = {RegistryRoot::LocalMachine, RegistryRoot::CurrentUser,
                                              RegistryRoot::Users};

    RegistryTree();
    /// `root` is any but ClassesRoot, which is a view of the others.
    RegistryKey& Root(RegistryRoot root);
    const RegistryKey& Root(RegistryRoot root) const;
    void CopyFrom(const RegistryTree& from) {
        for (const RegistryRoot root : kRoots) Root(root).CopyFrom(from.Root(root));
    }

  private:
    std::array<RegistryKey, 3> roots_;
};

/// Cuts "HKEY_LOCAL_MACHINE\Software" into root and key; false for another root. The short names
/// "HKLM", "HKCU", "HKCR" and "HKU" are understood too.
bool SplitRegistryPath(TextView path, RegistryRoot& root, Text& key);
/// Whether a key's path has more levels than Windows allows, 512. Trees are walked by recursion.
bool IsTooDeepKey(TextView path);
/// One component of a key path; `rest` keeps what follows. Empty at the end.
TextView NextKeyComponent(TextView& rest);

}  // namespace bkfd
