#include "detection/CBHOManager.h"

#include <utility>

#include "services/ErrorMode.h"
#include "services/RefusedChange.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr TextView kHelperObjectsKey =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
constexpr std::size_t kClassIdLength = 38;

Text RegistrationKey(const Text& clsid) {
    return Text(kHelperObjectsKey) + u"\\" + clsid;
}

/// A key's default value; empty when it can't be read, whatever the reason.
Text DefaultValue(RegistryAccess& registry, RegistryRoot root, const Text& key) {
    Text value;
    static_cast<void>(registry.ReadString(root, key, u"", value));
    return value;
}

/// The server of a class, a file or a command line.
Text ServerCommandLine(RegistryAccess& registry, const Text& clsid) {
    const Text key = u"CLSID\\" + clsid;
    Text server = DefaultValue(registry, RegistryRoot::ClassesRoot, key + u"\\InProcServer32");
    if (!server.empty()) return server;
    return DefaultValue(registry, RegistryRoot::ClassesRoot, key + u"\\LocalServer32");
}

Text NameOfFile(const Text& file) {
    const KeyedList fields = SysUtil::GetVersionStrings(file);
    return fields.Exists(u"ProductName") ? fields.Item(u"ProductName").AsText() : Text();
}

}  // namespace

void CBHOManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    registry_.emplace();
}

std::shared_ptr<ItemList> CBHOManager::EnumBHOs() {
    std::shared_ptr<ItemList> result;
    LogErrors(*logger_, LogLevel::WindowFailure, u"CBHOManager.EnumBHOs", [&] {
        fileChecker_.emplace();  // its Init isn't called, on purpose: short names stay short
        auto items = std::make_shared<ItemList>();
        const KeyedList subkeys =
            registry_->EnumSubkeys(RegistryRoot::LocalMachine, kHelperObjectsKey);
        FillBHOInfo(subkeys, *items, RegistryRoot::LocalMachine);
        result = std::move(items);
    });
    return result;
}

void CBHOManager::DeleteBHO(const Text& clsid) {
    const Text key = RegistrationKey(clsid);
    const bool isDeleted = registry_->DeleteKey(RegistryRoot::LocalMachine, key);
    // Written whether or not anything was deleted, and without a source, on purpose.
    logger_->Trace(SysUtil::FormatTemplate(u"Deleting BHO(%1)", {clsid}), u"");
    if (isDeleted) return;
    LogKeyThatStays(*logger_, RegistryRoot::LocalMachine, key, u"CBHOManager.DeleteBHO");
}

void CBHOManager::FillBHOInfo(const KeyedList& subkeys, ItemList& items, RegistryRoot) {
    LogErrors(*logger_, LogLevel::WindowFailure, u"CBHOManager.FillBHOInfo", [&] {
        for (const Variant& subkey : subkeys) {
            const Text clsid = subkey.AsText();
            if (clsid.size() != kClassIdLength) continue;
            Text name =
                DefaultValue(*registry_, RegistryRoot::LocalMachine, RegistrationKey(clsid));
            const Text dll = fileChecker_->GetFullFileNameFromShortFilename(
                fileChecker_->GetFileNameFromCommandLine(ServerCommandLine(*registry_, clsid)));
            ItemNode& item = items.Add();
            item.Id = clsid;
            if (name.empty()) name = NameOfFile(dll);
            if (name.empty()) name = dll;
            item.params().Add(u"Name", Replace(name, u"&", u""));
            item.params().Add(u"DLL", dll);
        }
    });
}

}  // namespace bkfd
