#include "processes/ProcessTree.h"

#include "processes/ProcessWalk.h"

namespace bkfd {
namespace {

void AddModules(ItemNode& node, const ModuleList& modules) {
    // The first module is the program file, which the node itself names.
    for (std::size_t i = 1; i < modules.Count(); ++i) {
        Text name = modules.Name(i);
        if (!Trim(name).empty()) node.Children().Add().Id = std::move(name);
    }
}

}  // namespace

std::shared_ptr<ItemList> GetProcessTreeNT() {
    auto tree = std::make_shared<ItemList>();
    for (const std::uint32_t processId : ListProcessIds()) {
        const ProcessTableHandle process(OpenProcessOrNone(ProcessAccess::QueryAndRead, processId));
        if (!process) continue;
        ModuleList modules;
        if (!modules.Read(process.Get())) continue;
        ItemNode& node = tree->Add();
        node.Id = modules.Name(0);
        AddModules(node, modules);
    }
    return tree;
}

std::shared_ptr<ItemList> GetProcessTree9x() {
    auto tree = std::make_shared<ItemList>();
    VisitProcesses([&tree](const ProcessEntry& process) {
        ItemNode& node = tree->Add();
        node.Id = UpToNul(process.exeFile);
        VisitModules(process.processId, [&node](const Text& exePath) {
            node.Children().Add().Id = UpToNul(exePath);
            return true;
        });
    });
    return tree;
}

}  // namespace bkfd
