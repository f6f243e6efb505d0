#include "processes/CProcessManager.h"

#include "processes/RunningProgram.h"
#include "services/MAPI.h"

namespace bkfd {
namespace {

std::shared_ptr<ItemList> TreeOf(std::vector<RunningProgram> programs) {
    auto tree = std::make_shared<ItemList>();
    for (RunningProgram& program : programs) {
        ItemNode& node = tree->Add();
        node.Id = std::move(program.path);
        for (Text& module : program.modules) node.Children().Add().Id = std::move(module);
    }
    return tree;
}

}  // namespace

void CProcessManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CProcessManager::EnumProcs(std::shared_ptr<ItemList>& tree) {
    tree = IsWindowsNT() ? EnumProcsNT() : EnumProcs9x();
}

std::shared_ptr<ItemList> CProcessManager::EnumProcsNT() {
    return TreeOf(ListRunningProgramsNT());
}

void CProcessManager::TrimAtNull(const Text& text, Text& result) {
    result = UpToNul(text);
}

std::shared_ptr<ItemList> CProcessManager::EnumProcs9x() {
    return TreeOf(ListRunningPrograms9x());
}

}  // namespace bkfd
