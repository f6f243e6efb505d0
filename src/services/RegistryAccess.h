#pragma once

#include <cstdint>

#include "platform/Machine.h"
#include "services/KeyedList.h"

namespace bkfd {

/// Keys may lie this deep below the one that is exported or deleted, as in Windows.
inline constexpr int kRegistryDepthLimit = 512;

/// Reads and writes the registry. A value or key that doesn't exist is no failure: a read leaves an
/// empty text or 0, a delete does nothing. No operation throws for what the registry answers; the
/// status tells it, and most callers take empty for absent.
class RegistryAccess {
  public:
    /// Reads a string value (plain, expandable or the first of many) up to its first NUL, which is
    /// how far Windows acts on it; variables aren't expanded. The empty name reads the key's
    /// default value. Values of other types read as empty with `UnsupportedType`.
    Status ReadString(RegistryBase base, TextView subkey, TextView name, Text& value);
    /// Reads a 32-bit value; values of other types read as 0 with `UnsupportedType`.
    Status ReadDword(RegistryBase base, TextView subkey, TextView name, std::int32_t& value);
    Status WriteString(RegistryBase base, TextView subkey, TextView name, TextView value);
    Status WriteDword(RegistryBase base, TextView subkey, TextView name, std::int32_t value);
    Status DeleteValue(RegistryBase base, TextView subkey, TextView name);
    /// Names of the key's subkeys, without keys in the list.
    KeyedList EnumSubkeys(RegistryBase base, TextView subkey);
    /// Names of the key's values, without keys in the list.
    KeyedList EnumValues(RegistryBase base, TextView subkey);
    /// Deletes a key with all below it, children first, up to the first one that refuses. True on
    /// success; a key that isn't there is none. A root, or a subkey that ends in a backslash, is
    /// refused.
    bool DeleteKey(RegistryBase base, TextView subkey);
    /// The key with all its subkeys and values as sections of an export file, without the file's
    /// header. On the NT family in the form of version 5.00; on the 9x family in that of REGEDIT4,
    /// already in the code page: one character for each byte of the file. What can't be read is
    /// told in a comment in its place. Empty for a key that doesn't exist.
    Text ExportKey(RegistryBase base, TextView subkey);
    /// One value in the same form; empty when it doesn't exist.
    Text ExportValue(RegistryBase base, TextView subkey, TextView name);
    /// "HKEY_LOCAL_MACHINE" and so on.
    static Text RootName(RegistryRoot root);
    /// The root's name with the path of the key behind it, in the native view.
    static Text KeyName(RegistryBase base, TextView subkey);
};

}  // namespace bkfd
