#include "removal/processes/CProcessManager.h"

#include "removal/processes/ProcessWalk.h"
#include "services/MAPI.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kQueryAndRead = 1040;  // PROCESS_QUERY_INFORMATION | PROCESS_VM_READ

void AddModules(ItemNode& node, const ModuleList& modules) {
    // The first module is the program file, which the node itself names.
    for (std::size_t i = 1; i < modules.Count(); ++i) {
        Text name = modules.Name(i);
        if (!Trim(name).empty()) node.Children().Add().Id = std::move(name);
    }
}

}  // namespace

void CProcessManager::Init(LoggerRef logger) {
    logger_ = std::move(logger);
}

void CProcessManager::EnumProcs(std::shared_ptr<ItemList>& tree) {
    tree = std::make_shared<ItemList>();
    if (IsWindowsNT()) {
        EnumProcsNT(*tree);
    } else {
        EnumProcs9x(*tree);
    }
}

void CProcessManager::EnumProcsNT(ItemList& tree) {
    for (const std::uint32_t processId : ListProcessIds()) {
        const ProcessTableHandle process(OpenProcessOrNone(kQueryAndRead, processId));
        if (!process) continue;
        ModuleList modules;
        if (!modules.Read(process.Get())) continue;
        ItemNode& node = tree.Add();
        node.Id = modules.Name(0);
        AddModules(node, modules);
    }
}

void CProcessManager::TrimAtNull(const Text& text, Text& result) {
    result = text.substr(0, text.find(u'\0'));
}

void CProcessManager::EnumProcs9x(ItemList& tree) {
    VisitProcesses([&tree](const ProcessEntry& process) {
        ItemNode& node = tree.Add();
        TrimAtNull(process.exeFile, node.Id);
        // The program file comes among its modules here, and blank names stay.
        VisitModules(process.processId, [&node](const Text& exePath) {
            TrimAtNull(exePath, node.Children().Add().Id);
            return true;
        });
    });
}

}  // namespace bkfd
