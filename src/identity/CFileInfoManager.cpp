#include "identity/CFileInfoManager.h"

#include <utility>

#include "services/SysUtil.h"

namespace bkfd {
namespace {

struct FileInfo : Object {
    Text manufacturer;
    Text description;
};

}  // namespace

void CFileInfoManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CFileInfoManager::GetFileInfo(const Text& fileName, Text& manufacturer, Text& description) {
    if (!cache_.Exists(fileName)) {
        const KeyedList fields = SysUtil::GetVersionStrings(fileName);
        auto info = std::make_shared<FileInfo>();
        info->description = SysUtil::VersionString(fields, u"FileDescription");
        info->manufacturer = SysUtil::VersionString(fields, u"CompanyName");
        cache_.Add(std::move(info), fileName);
    }
    const auto& info = static_cast<const FileInfo&>(*cache_.Item(fileName).AsObject());
    manufacturer = info.manufacturer;
    description = info.description;
}

}  // namespace bkfd
