#include "platform/forward/ProgramOfProcess.h"

#include <array>

namespace bkfd {
namespace {

Text ProgramOfNT(Processes& processes, std::uint32_t processId) {
    const auto process = processes.OpenProcess(ProcessAccess::QueryAndRead, processId);
    if (!process.IsOk()) return {};
    std::array<ModuleHandle, 1> program{};
    std::uint32_t needed = 0;
    Text path(kMaxPath, u' ');
    std::uint32_t length = 0;
    if (processes.EnumProcessModules(process.value, program, sizeof(ModuleHandle), needed).IsOk()) {
        length = processes.GetModuleFileNameExW(process.value, program[0], path);
    }
    (void)processes.CloseHandle(process.value);
    return path.substr(0, length);
}

Text ProgramOf9x(Processes& processes, std::uint32_t processId) {
    const Handle snapshot = processes.CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0);
    if (snapshot == kInvalidHandle) return {};
    ProcessEntry entry;
    entry.size = kProcessRecordSize;
    Text program;
    for (Status more = processes.Process32First(snapshot, entry); more.IsOk();
         more = processes.Process32Next(snapshot, entry)) {
        if (entry.processId == processId) program = UpToNul(entry.exeFile);
    }
    (void)processes.CloseHandle(snapshot);
    return program;
}

}  // namespace

Text ProgramOfProcess(Machine& machine, std::uint32_t processId) {
    const bool isNT = IsVersionOfNT(machine.System().GetVersion());
    Processes& processes = machine.ProcessTable();
    return isNT ? ProgramOfNT(processes, processId) : ProgramOf9x(processes, processId);
}

}  // namespace bkfd
