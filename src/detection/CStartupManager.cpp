#include "detection/CStartupManager.h"

#include <algorithm>
#include <utility>

#include "identity/NameInView.h"
#include "platform/RegistryViews.h"
#include "platform/RootNames.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/ErrorMode.h"
#include "services/RefusedChange.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

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
    {Family::Windows9x, Folder::System, u"powrprof.dll"},
    {Family::Windows9x, Folder::Windows, u"scanregw.exe"},
    {Family::Windows9x, Folder::System, u"systray.exe"},
    {Family::Windows9x, Folder::Windows, u"taskmon.exe"},
    {Family::Windows9x, Folder::System, u"mstask.exe"},
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

Text ValueData(RegistryAccess& registry, RegistryBase base, const Text& key, const Text& name) {
    Text data;
    (void)registry.ReadString(base, key, name, data);
    return data;
}

Text ResolvedFile(CFileChecker& checker, RegistryView view, const Text& commandLine) {
    return checker.GetFullFileNameFromShortFilename(
        NameInView(view, checker.GetFileNameFromCommandLine(commandLine)));
}

/// Asks for one field and reads another, on purpose: a record with a product name but no
/// description of the product is an error.
Text PolicyItemName(const KeyedList& fields, const Text& data) {
    if (fields.Exists(u"FileDescription")) return fields.Item(u"FileDescription").AsText();
    if (fields.Exists(u"ProductName")) return fields.Item(u"ProductDescription").AsText();
    return data;
}

/// The root as the number that the system knows it by.
std::int32_t RootNumber(RegistryRoot root) {
    return static_cast<std::int32_t>(root);
}

/// In this order, but that the policies' items name their maker behind the place.
void AddParams(ItemNode& node, const StartupItem& item) {
    ValueBag& params = node.params();
    params.Add(u"Name", item.name);
    params.Add(u"DLL", item.file);
    if (!item.isPolicy) params.Add(u"Manufacturer", item.manufacturer);
    // "Key" holds the root and "Hive" the key's path, on purpose.
    params.Add(u"Key", RootNumber(item.base.root));
    params.Add(u"Hive", item.key);
    params.Add(u"ValueName", item.valueName);
    if (item.isPolicy) params.Add(u"Manufacturer", item.manufacturer);
    params.Add(u"Icon", item.isKnown ? u"OK" : u"IE");
    if (item.base.view == RegistryView::Bits32) params.Add(u"View", u"32-bit");
}

std::shared_ptr<ItemList> ToItemList(const std::vector<StartupItem>& items) {
    auto list = std::make_shared<ItemList>();
    for (const StartupItem& item : items) {
        ItemNode& node = list->Add();
        node.Id = item.id;
        if (item.isRead) AddParams(node, item);
    }
    return list;
}

struct StartupValue {
    RegistryBase base;
    Text key;
    Text name;
    Text data;
};

void DeleteStartupValue(Logger& logger, RegistryAccess& registry, const StartupValue& value,
                        const Text& source) {
    const Status deleted = registry.DeleteValue(value.base, value.key, value.name);
    const Text root = RegistryAccess::RootName(value.base.root);
    const Text key = NativeKey(TheMachine().System(), value.base, value.key);
    logger.Trace(SysUtil::FormatTemplate(u"Deleted: '%1\\%2', '%3', '%4'",
                                         {root, key, value.name, value.data}),
                 source);
    if (deleted.IsNotThere()) return;
    LogRefusedChange(logger, deleted, u"delete '" + root + u"\\" + key + u"\\" + value.name + u"'",
                     source);
}

}  // namespace

void CStartupManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CStartupManager::RemoveStartup(const Text& file) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.RemoveStartup", [&] {
        fileChecker_.emplace();  // its Init isn't called, on purpose: short names stay short
        RegistryAccess registry;
        for (const StartupPlace& place : StartupPlaces()) {
            if (place.isPolicy) {
                RemovePolicyInfo(registry, place, file);
            } else {
                RemoveItemInfo(registry.EnumValues(place.base, place.key), place.base,
                               Text(place.key), file);
            }
        }
    });
}

std::optional<std::vector<StartupItem>> CStartupManager::ListItems() {
    std::optional<std::vector<StartupItem>> result;
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.EnumItems", [&] {
        fileChecker_.emplace();  // as above
        std::vector<StartupItem> items;
        RegistryAccess registry;
        for (const StartupPlace& place : StartupPlaces()) {
            if (place.isPolicy) {
                FillPolicyInfo(registry, items, place);
            } else {
                FillItemInfo(registry.EnumValues(place.base, place.key), items, place);
            }
        }
        result = std::move(items);
    });
    return result;
}

std::shared_ptr<ItemList> CStartupManager::EnumItems() {
    const auto items = ListItems();
    return items ? ToItemList(*items) : nullptr;
}

void CStartupManager::RemoveItemInfo(const KeyedList& names, RegistryBase base, const Text& key,
                                     const Text& file) {
    const Text source = u"CStartupManager.RemoveItemInfo";
    LogErrors(*logger_, LogLevel::WindowFailure, source, [&] {
        RegistryAccess registry;
        for (const Variant& entry : names) {
            const Text name = entry.AsText();
            const Text data = ValueData(registry, base, key, name);
            if (!EqualsIgnoreCase(file, ResolvedFile(*fileChecker_, base.view, data))) continue;
            DeleteStartupValue(*logger_, registry, {base, key, name, data}, source);
        }
    });
}

void CStartupManager::RemovePolicyInfo(RegistryAccess& registry, const StartupPlace& place,
                                       const Text& file) {
    const Text source = u"CStartupManager.RemovePolicyInfo";
    LogErrors(*logger_, LogLevel::WindowFailure, source, [&] {
        const Text key(place.key);
        for (const Variant& entry : registry.EnumValues(place.base, key)) {
            const Text name = entry.AsText();
            const Text data = ValueData(registry, place.base, key, name);
            if (data.empty()) continue;
            const Text started = ResolvedFile(*fileChecker_, place.base.view, data);
            if (!EqualsIgnoreCase(file, started)) continue;
            DeleteStartupValue(*logger_, registry, {place.base, key, name, data}, source);
        }
    });
}

void CStartupManager::FillPolicyInfo(RegistryAccess& registry, std::vector<StartupItem>& items,
                                     const StartupPlace& place) {
    const Text key(place.key);
    for (const Variant& entry : registry.EnumValues(place.base, key)) {
        StartupItem item;
        item.base = place.base;
        item.key = key;
        item.valueName = entry.AsText();
        item.isPolicy = true;
        item.name = ResourceString(StringId::YourDescriptionHere);
        const Text data = ValueData(registry, place.base, key, item.valueName);
        if (!data.empty()) {
            item.file = ResolvedFile(*fileChecker_, place.base.view, data);
            const KeyedList fields = SysUtil::GetVersionStrings(item.file);
            item.name = PolicyItemName(fields, data);
            item.manufacturer = SysUtil::VersionString(fields, u"CompanyName");
        }
        item.isKnown = IsKnownStartupItem(item);
        item.id = SysUtil::NewUniqueId();
        items.push_back(std::move(item));
    }
}

void CStartupManager::FillItemInfo(const KeyedList& names, std::vector<StartupItem>& items,
                                   const StartupPlace& place) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CStartupManager.FillItemInfo", [&] {
        RegistryAccess registry;
        const Text key(place.key);
        for (const Variant& entry : names) {
            const Text valueName = entry.AsText();
            const Text file = ResolvedFile(*fileChecker_, place.base.view,
                                           ValueData(registry, place.base, key, valueName));
            if (file.empty()) continue;
            // What fails from here on leaves an item of which only the identifier is known.
            StartupItem& item = items.emplace_back();
            item.isRead = false;
            item.id = SysUtil::NewUniqueId();
            const KeyedList fields = SysUtil::GetVersionStrings(file);
            item.name = SysUtil::VersionString(fields, u"FileDescription", valueName);
            item.file = file;
            item.manufacturer = SysUtil::VersionString(fields, u"CompanyName");
            item.base = place.base;
            item.key = key;
            item.valueName = valueName;
            item.isKnown = IsKnownStartupItem(item);
            item.isRead = true;
        }
    });
}

bool CStartupManager::IsKnownStartupItem(const StartupItem& item) {
    if (item.manufacturer != kKnownManufacturer) return false;
    return std::ranges::any_of(kKnownItems, [&](const KnownItem& known) {
        return IsForThisMachine(known.family) &&
               EqualsIgnoreCase(NameInView(item.base.view, FolderPath(known.folder) + known.file),
                                item.file);
    });
}

}  // namespace bkfd
