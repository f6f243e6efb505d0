#include "detection/CBHOManager.h"

#include <utility>

#include "platform/RegistryViews.h"
#include "services/ErrorMode.h"
#include "services/RefusedChange.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

std::shared_ptr<ItemList> ToItemList(const std::vector<HelperObject>& objects) {
    auto items = std::make_shared<ItemList>();
    for (const HelperObject& object : objects) {
        ItemNode& item = items->Add();
        item.Id = object.clsid;
        if (!object.isRead) continue;
        item.params().Add(u"Name", object.name);
        item.params().Add(u"DLL", object.file);
        if (object.view == RegistryView::Bits32) item.params().Add(u"View", u"32-bit");
    }
    return items;
}

}  // namespace

void CBHOManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    registry_.emplace();
}

std::optional<std::vector<HelperObject>> CBHOManager::ListHelperObjects() {
    std::optional<std::vector<HelperObject>> result;
    LogErrors(*logger_, LogLevel::WindowFailure, u"CBHOManager.EnumBHOs", [&] {
        fileChecker_.emplace();  // its Init isn't called, on purpose: short names stay short
        std::vector<HelperObject> objects;
        for (const RegistryView view : HelperObjectViews()) {
            const RegistryBase base = {RegistryRoot::LocalMachine, view};
            FillBHOInfo(registry_->EnumSubkeys(base, kHelperObjectsKey), objects, base);
        }
        result = std::move(objects);
    });
    return result;
}

std::shared_ptr<ItemList> CBHOManager::EnumBHOs() {
    const auto objects = ListHelperObjects();
    return objects ? ToItemList(*objects) : nullptr;
}

void CBHOManager::DeleteBHO(const Text& clsid, RegistryView view) {
    const RegistryBase base = {RegistryRoot::LocalMachine, view};
    const Text key = HelperObjectKey(clsid);
    const bool isDeleted = registry_->DeleteKey(base, key);
    // Written whether or not anything was deleted, and without a source, on purpose.
    logger_->Trace(SysUtil::FormatTemplate(u"Deleting BHO(%1)", {clsid + Text(ViewSuffix(view))}),
                   u"");
    if (isDeleted) return;
    LogKeyThatStays(*logger_, base, key, u"CBHOManager.DeleteBHO");
}

void CBHOManager::FillBHOInfo(const KeyedList& subkeys, std::vector<HelperObject>& objects,
                              RegistryBase base) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CBHOManager.FillBHOInfo", [&] {
        for (const Variant& subkey : subkeys) {
            const Text clsid = subkey.AsText();
            if (!IsHelperObjectName(clsid)) continue;
            HelperObject object = ReadHelperObject(*registry_, *fileChecker_, clsid, base.view);
            // What fails from here on leaves an object of which only the identifier is known.
            objects.push_back({clsid, {}, {}, base.view, false});
            if (object.name.empty()) {
                object.name =
                    SysUtil::VersionString(SysUtil::GetVersionStrings(object.file), u"ProductName");
            }
            object.name = DisplayName({object.name, object.file});
            objects.back() = std::move(object);
        }
    });
}

}  // namespace bkfd
