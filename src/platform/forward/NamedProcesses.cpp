#include "platform/forward/NamedProcesses.h"

#include <array>

namespace bkfd {

Result<Handle> NamedProcesses::OpenProcess(std::uint32_t access, std::uint32_t processId) {
    auto opened = ForwardProcesses::OpenProcess(access, processId);
    if (opened.IsOk()) opened_[opened.value] = processId;
    return opened;
}

Status NamedProcesses::CloseHandle(Handle handle) {
    opened_.erase(handle);
    return ForwardProcesses::CloseHandle(handle);
}

Status NamedProcesses::Process32First(Handle snapshot, ProcessEntry& entry) {
    const Status first = ForwardProcesses::Process32First(snapshot, entry);
    if (first.IsOk()) shown_[entry.processId] = UpToNul(entry.exeFile);
    return first;
}

Status NamedProcesses::Process32Next(Handle snapshot, ProcessEntry& entry) {
    const Status next = ForwardProcesses::Process32Next(snapshot, entry);
    if (next.IsOk()) shown_[entry.processId] = UpToNul(entry.exeFile);
    return next;
}

std::uint32_t NamedProcesses::IdOf(Handle process) const {
    const auto known = opened_.find(process);
    return known == opened_.end() ? 0 : known->second;
}

Text NamedProcesses::ProgramOf(std::uint32_t processId) {
    return IsVersionOfNT(system_.GetVersion()) ? ProgramOfNT(processId) : ProgramOf9x(processId);
}

Text NamedProcesses::ProgramOfNT(std::uint32_t processId) {
    const auto process = target_.OpenProcess(ProcessAccess::QueryAndRead, processId);
    if (!process.IsOk()) return {};
    std::array<ModuleHandle, 1> program{};
    std::uint32_t needed = 0;
    Text path(kMaxPath, u' ');
    std::uint32_t length = 0;
    if (target_.EnumProcessModules(process.value, program, sizeof(ModuleHandle), needed).IsOk()) {
        length = target_.GetModuleFileNameExW(process.value, program[0], path);
    }
    (void)target_.CloseHandle(process.value);
    return path.substr(0, length);
}

Text NamedProcesses::ProgramOf9x(std::uint32_t processId) {
    if (!shown_.contains(processId)) {
        const Handle snapshot = target_.CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0);
        if (snapshot == kInvalidHandle) return {};
        ProcessEntry entry;
        entry.size = kProcessRecordSize;
        for (Status more = Process32First(snapshot, entry); more.IsOk();
             more = Process32Next(snapshot, entry)) {
        }
        (void)target_.CloseHandle(snapshot);
    }
    return shown_[processId];
}

}  // namespace bkfd
