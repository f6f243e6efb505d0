#pragma once

#include <memory>
#include <optional>

#include "identity/CFileChecker.h"
#include "services/ItemList.h"
#include "services/Logger.h"
#include "services/RegistryAccess.h"

namespace bkfd {

/// The registered browser helper objects.
class CBHOManager {
  public:
    void Init(LoggerRef logger);
    /// One item an object: `Id` its class identifier, params "Name" and "DLL". Null when the
    /// enumeration itself fails, which is logged.
    std::shared_ptr<ItemList> EnumBHOs();
    /// Deletes the registration of one object; its class and its file stay.
    void DeleteBHO(const Text& clsid);

  private:
    void FillBHOInfo(const KeyedList& subkeys, ItemList& items, RegistryRoot root);

    LoggerRef logger_;
    std::optional<RegistryAccess> registry_;
    std::optional<CFileChecker> fileChecker_;
};

}  // namespace bkfd
