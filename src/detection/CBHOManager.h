#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "detection/HelperObjects.h"
#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// The registered browser helper objects.
class CBHOManager {
  public:
    void Init(LoggerRef logger);
    /// In the registry's order, those of the native view first. Nothing when the enumeration itself
    /// fails, which is logged.
    std::optional<std::vector<HelperObject>> ListHelperObjects();
    /// The same as a list for late binding: `Id` the class identifier, params "Name" and "DLL",
    /// and "View" for one of the 32-bit view.
    /// Null when the enumeration fails.
    std::shared_ptr<ItemList> EnumBHOs();
    /// Deletes the registration of one object; its class and its file stay.
    void DeleteBHO(const Text& clsid, RegistryView view = RegistryView::Native);

  private:
    void FillBHOInfo(const KeyedList& subkeys, std::vector<HelperObject>& objects,
                     RegistryBase base);

    LoggerRef logger_;
    std::optional<RegistryAccess> registry_;
    std::optional<CFileChecker> fileChecker_;
};

}  // namespace bkfd
