#include "processes/RunningProgram.h"

#include "processes/ProcessWalk.h"
#include "services/MAPI.h"

namespace bkfd {
namespace {

std::vector<Text> NamesOf(const ModuleList& modules) {
    std::vector<Text> names;
    // The first module is the program file, which the program itself names.
    for (std::size_t i = 1; i < modules.Count(); ++i) {
        Text name = modules.Name(i);
        if (!Trim(name).empty()) names.push_back(std::move(name));
    }
    return names;
}

}  // namespace

std::vector<RunningProgram> ListRunningPrograms() {
    return IsWindowsNT() ? ListRunningProgramsNT() : ListRunningPrograms9x();
}

std::vector<RunningProgram> ListRunningProgramsNT() {
    std::vector<RunningProgram> programs;
    for (const std::uint32_t processId : ListProcessIds()) {
        const ProcessTableHandle process(OpenProcessOrNone(ProcessAccess::QueryAndRead, processId));
        if (!process) continue;
        ModuleList modules;
        if (!modules.Read(process.Get())) continue;
        Text path = modules.Name(0);
        programs.push_back({std::move(path), NamesOf(modules)});
    }
    return programs;
}

std::vector<RunningProgram> ListRunningPrograms9x() {
    std::vector<RunningProgram> programs;
    VisitProcesses([&programs](const ProcessEntry& process) {
        RunningProgram& program = programs.emplace_back();
        program.path = UpToNul(process.exeFile);
        VisitModules(process.processId, [&program](const Text& exePath) {
            program.modules.emplace_back(UpToNul(exePath));
            return true;
        });
    });
    return programs;
}

}  // namespace bkfd
