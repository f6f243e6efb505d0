#include "detection/CStartupManager.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "platform/RootNames.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "services/RefusedChange.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

struct StartupPlace {
    RegistryRoot root;
    const char16_t* key;
};

/// The places but for the policies', in the order of visits. "RunOnce\Setup" exists for the machine
/// alone.
constexpr StartupPlace kPlaces[] = {
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce\\Setup"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce"},
};
constexpr const char16_t* kPolicyKey =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\Explorer\\Run";

enum class Family { Any, NT, Windows95 };
enum class Folder { System, Windows, Programs };

/// The startup programs of Windows itself.
struct KnownItem {
    Family family;
    Folder folder;
    const char16_t* file;
};
constexpr KnownItem kKnownItems[] = {
    {Family::Any, Folder::System, u"ctfmon.exe"},
    {Family::Any, Folder::Programs, u"messenger\\msmsgs.exe"},
    {Family::NT, Folder::System, u"internat.exe"},
    {Family::Windows95, Folder::System, u"powrprof.dll"},
    {Family::Windows95, Folder::Windows, u"scanregw.exe"},
    {Family::Windows95, Folder::System, u"systray.exe"},
    {Family::Windows95, Folder::Windows, u"taskmon.exe"},
    {Family::Windows95, Folder::System, u"mstask.exe"},
};
constexpr TextView kKnownManufacturer = u"Microsoft Corporation";  // case counts

Text FolderPath(Folder folder) {
    switch (folder) {
        case Folder::System:
            return gSystemPath;
        case Folder::Windows:
            return gWindowsPath;
        case Folder::Programs:
            break;
    }
    return WithBackslash(SysUtil::ExpandEnvironment(u"%programfiles%"));
}

Text ValueData(RegistryAccess& registry, RegistryRoot root, const Text& key, const Text& name) {
    Text data;
    static_cast<void>(registry.ReadString(root, key, name, data));
    return data;
}

Text ResolvedFile(CFileChecker& checker, const Text& commandLine) {
    return checker.GetFullFileNameFromShortFilename(
        checker.GetFileNameFromCommandLine(commandLine));
}

Text FieldOr(const KeyedList& fields, TextView name, const Text& otherwise) {
    return fields.Exists(name) ? fields.Item(name).AsText() : otherwise;
}

/// Asks for one field and reads another, on purpose: a record with a product name but no
/// description of the product is an error.
Text PolicyItemName(const KeyedList& fields, const Text& data) {
    if (fields.Exists(u"FileDescription")) return fields.Item(u"FileDescription").AsText();
    if (fields.Exists(u"ProductName")) return fields.Item(u"ProductDescription").AsText();
    return data;
}

using Params = std::initializer_list<std::pair<const char16_t*, Variant>>;

void AddParams(ItemNode& item, const Params& params) {
    for (const auto& [name, value] : params) item.params().Add(name, value);
}

ItemNode& AddItem(ItemList& items) {
    ItemNode& item = items.Add();
    item.Id = SysUtil::NewUniqueId();
    return item;
}

/// The root as the number that the system knows it by.
std::int32_t RootNumber(RegistryRoot root) {
    return static_cast<std::int32_t>(root);
}

struct StartupValue {
    RegistryRoot root;
    Text key;
    Text name;
    Text data;
};

void DeleteStartupValue(Logger& logger, RegistryAccess& registry, const StartupValue& value,
                        const Text& source) {
    const Status deleted = registry.DeleteValue(value.root, value.key, value.name);
    const Text root = RegistryAccess::RootName(value.root);
    logger.Trace(SysUtil::FormatTemplate(u"Deleted: '%1\\%2', '%3', '%4'",
                                         {root, value.key, value.name, value.data}),
                 source);
    if (deleted.IsNotThere()) return;
    LogRefusedChange(logger, deleted,
                     u"delete '" + root + u"\\" + value.key + u"\\" + value.name + u"'", source);
}

}  // namespace

void CStartupManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CStartupManager::RemoveStartup(const Text& file) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.RemoveStartup", [&] {
        fileChecker_.emplace();  // its Init isn't called, on purpose: short names stay short
        RegistryAccess registry;
        for (const StartupPlace& place : kPlaces) {
            RemoveItemInfo(registry.EnumValues(place.root, place.key), place.root, place.key, file);
        }
        RemovePolicyInfo(registry, HKLM, file);
        RemovePolicyInfo(registry, HKCU, file);
    });
}

std::shared_ptr<ItemList> CStartupManager::EnumItems() {
    std::shared_ptr<ItemList> result;
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.EnumItems", [&] {
        fileChecker_.emplace();  // as above
        auto items = std::make_shared<ItemList>();
        RegistryAccess registry;
        for (const StartupPlace& place : kPlaces) {
            FillItemInfo(registry.EnumValues(place.root, place.key), *items, place.root, place.key);
        }
        FillPolicyInfo(registry, *items, HKLM);
        FillPolicyInfo(registry, *items, HKCU);
        result = std::move(items);
    });
    return result;
}

void CStartupManager::RemoveItemInfo(const KeyedList& names, RegistryRoot root, const Text& key,
                                     const Text& file) {
    const Text source = u"CStartupManager.RemoveItemInfo";
    LogErrors(*logger_, LogLevel::WindowFailure, source, [&] {
        RegistryAccess registry;
        for (const Variant& entry : names) {
            const Text name = entry.AsText();
            const Text data = ValueData(registry, root, key, name);
            if (!EqualsIgnoreCase(file, ResolvedFile(*fileChecker_, data))) continue;
            DeleteStartupValue(*logger_, registry, {root, key, name, data}, source);
        }
    });
}

void CStartupManager::RemovePolicyInfo(RegistryAccess& registry, RegistryRoot root,
                                       const Text& file) {
    const Text source = u"CStartupManager.RemovePolicyInfo";
    LogErrors(*logger_, LogLevel::WindowFailure, source, [&] {
        for (const Variant& entry : registry.EnumValues(root, kPolicyKey)) {
            const Text name = entry.AsText();
            const Text data = ValueData(registry, root, kPolicyKey, name);
            if (data.empty()) continue;
            if (!EqualsIgnoreCase(file, ResolvedFile(*fileChecker_, data))) continue;
            DeleteStartupValue(*logger_, registry, {root, kPolicyKey, name, data}, source);
        }
    });
}

void CStartupManager::FillPolicyInfo(RegistryAccess& registry, ItemList& items, RegistryRoot root) {
    for (const Variant& entry : registry.EnumValues(root, kPolicyKey)) {
        const Text valueName = entry.AsText();
        const Text data = ValueData(registry, root, kPolicyKey, valueName);
        Text file;
        Text manufacturer;
        Text name = ResourceString(StringId::YourDescriptionHere);
        if (!data.empty()) {
            file = ResolvedFile(*fileChecker_, data);
            const KeyedList fields = SysUtil::GetVersionStrings(file);
            name = PolicyItemName(fields, data);
            manufacturer = FieldOr(fields, u"CompanyName", {});
        }
        const bool known = IsKnownStartupItem(file, manufacturer);
        // "Key" holds the root and "Hive" the key's path, on purpose.
        AddParams(AddItem(items), {{u"Name", name},
                                   {u"DLL", file},
                                   {u"Key", RootNumber(root)},
                                   {u"Hive", kPolicyKey},
                                   {u"ValueName", valueName},
                                   {u"Manufacturer", manufacturer},
                                   {u"Icon", known ? u"OK" : u"IE"}});
    }
}

void CStartupManager::FillItemInfo(const KeyedList& names, ItemList& items, RegistryRoot root,
                                   const Text& key) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.FillItemInfo", [&] {
        RegistryAccess registry;
        for (const Variant& entry : names) {
            const Text valueName = entry.AsText();
            const Text file =
                ResolvedFile(*fileChecker_, ValueData(registry, root, key, valueName));
            if (file.empty()) continue;
            ItemNode& item = AddItem(items);
            const KeyedList fields = SysUtil::GetVersionStrings(file);
            const Text manufacturer = FieldOr(fields, u"CompanyName", {});
            const bool known = IsKnownStartupItem(file, manufacturer);
            // "Key" holds the root and "Hive" the key's path, on purpose.
            AddParams(item, {{u"Name", FieldOr(fields, u"FileDescription", valueName)},
                             {u"DLL", file},
                             {u"Manufacturer", manufacturer},
                             {u"Key", RootNumber(root)},
                             {u"Hive", key},
                             {u"ValueName", valueName},
                             {u"Icon", known ? u"OK" : u"IE"}});
        }
    });
}

bool CStartupManager::IsKnownStartupItem(const Text& file, const Text& manufacturer) {
    if (manufacturer != kKnownManufacturer) return false;
    const Family family = IsWindowsNT() ? Family::NT : Family::Windows95;
    return std::ranges::any_of(kKnownItems, [&](const KnownItem& known) {
        if (known.family != Family::Any && known.family != family) return false;
        return EqualsIgnoreCase(FolderPath(known.folder) + known.file, file);
    });
}

}  // namespace bkfd
