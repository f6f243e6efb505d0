#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "detection/StartupItems.h"
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
    /// One item a value, in the order of the places. Nothing when the enumeration itself fails,
    /// which is logged.
    std::optional<std::vector<StartupItem>> ListItems();
    /// The same as a list for late binding, params "Name", "DLL", "Manufacturer", "Key" (the root),
    /// "Hive" (the key path), "ValueName" and "Icon", and "View" for one of the 32-bit view. Null
    /// when the enumeration fails.
    std::shared_ptr<ItemList> EnumItems();

  private:
    void RemoveItemInfo(const KeyedList& names, RegistryBase base, const Text& key,
                        const Text& file);
    void RemovePolicyInfo(RegistryAccess& registry, const StartupPlace& place, const Text& file);
    void FillPolicyInfo(RegistryAccess& registry, std::vector<StartupItem>& items,
                        const StartupPlace& place);
    void FillItemInfo(const KeyedList& names, std::vector<StartupItem>& items,
                      const StartupPlace& place);
    bool IsKnownStartupItem(const StartupItem& item);

    LoggerRef logger_;
    std::optional<CFileChecker> fileChecker_;
};

}  // namespace bkfd
