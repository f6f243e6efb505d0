#pragma once

#include <memory>
#include <optional>

#include "identity/CFileChecker.h"
#include "services/ItemList.h"
#include "services/Logger.h"
#include "services/RegistryAccess.h"

namespace bkfd {

/// The registry places from which Windows starts programs at logon.
class CStartupManager {
  public:
    void Init(LoggerRef logger);
    /// Deletes every value in those places that starts `file`, compared as whole resolved paths.
    void RemoveStartup(const Text& file);
    /// One item a value, params "Name", "DLL", "Manufacturer", "Key" (the root), "Hive" (the key
    /// path), "ValueName" and "Icon". Null when the enumeration itself fails, which is logged.
    std::shared_ptr<ItemList> EnumItems();

  private:
    void RemoveItemInfo(const KeyedList& names, RegistryRoot root, const Text& key,
                        const Text& file);
    void RemovePolicyInfo(RegistryAccess& registry, RegistryRoot root, const Text& file);
    void FillPolicyInfo(RegistryAccess& registry, ItemList& items, RegistryRoot root);
    void FillItemInfo(const KeyedList& names, ItemList& items, RegistryRoot root, const Text& key);
    bool IsKnownStartupItem(const Text& file, const Text& manufacturer);

    LoggerRef logger_;
    std::optional<CFileChecker> fileChecker_;
};

}  // namespace bkfd
