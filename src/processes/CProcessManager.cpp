#include "processes/CProcessManager.h"

#include "processes/ProcessTree.h"
#include "services/MAPI.h"

namespace bkfd {

void CProcessManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CProcessManager::EnumProcs(std::shared_ptr<ItemList>& tree) {
    tree = IsWindowsNT() ? EnumProcsNT() : EnumProcs9x();
}

std::shared_ptr<ItemList> CProcessManager::EnumProcsNT() {
    return GetProcessTreeNT();
}

void CProcessManager::TrimAtNull(const Text& text, Text& result) {
    result = UpToNul(text);
}

std::shared_ptr<ItemList> CProcessManager::EnumProcs9x() {
    return GetProcessTree9x();
}

}  // namespace bkfd
