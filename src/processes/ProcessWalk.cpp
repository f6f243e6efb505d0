#include "processes/ProcessWalk.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr std::uint32_t kBytesPerItem = 4;
constexpr std::uint32_t kFirstModuleBytes = 1024;
constexpr std::uint32_t kMaximumProcessBytes = 1U << 24;  // far more processes than Windows can run

constexpr std::size_t kNameSize = 500;  // what the system is told; `kMaxPath` of it are kept

constexpr std::uint32_t kStatedModuleSize = 1063;  // on purpose not the size of the record

}  // namespace

ProcessTableHandle::~ProcessTableHandle() {
    if (handle_ != 0) (void)TheMachine().ProcessTable().CloseHandle(handle_);
}

Handle OpenProcessOrNone(std::uint32_t access, std::uint32_t processId) {
    const auto opened = TheMachine().ProcessTable().OpenProcess(access, processId);
    return opened.IsOk() ? opened.value : 0;
}

std::vector<std::uint32_t> ListProcessIds() {
    std::vector<std::uint32_t> ids;
    std::uint32_t bytes = 8;
    std::uint32_t needed = 96;
    // A full array may not be the whole list: the array grows until it isn't full.
    while (bytes <= needed && bytes < kMaximumProcessBytes) {
        bytes *= 2;
        ids.assign(bytes / kBytesPerItem, 0);
        (void)TheMachine().ProcessTable().EnumProcesses(ids, needed);
    }
    ids.resize(std::min<std::size_t>(ids.size(), needed / kBytesPerItem));
    return ids;
}

bool ModuleList::Read(Handle process) {
    Processes& processes = TheMachine().ProcessTable();
    process_ = process;
    count_ = 0;
    modules_.fill(0);
    std::uint32_t needed = 0;
    (void)processes.EnumProcessModules(process, modules_, kFirstModuleBytes, needed);
    const auto bytes = std::min<std::uint32_t>(needed, sizeof modules_);
    if (!processes.EnumProcessModules(process, modules_, bytes, needed).IsOk()) return false;
    count_ = std::min(needed, bytes) / kBytesPerItem;
    return true;
}

Text ModuleList::Name(std::size_t index) const {
    std::array<char16_t, kNameSize> buffer;
    buffer.fill(u' ');
    const std::size_t length =
        TheMachine().ProcessTable().GetModuleFileNameExW(process_, modules_[index], buffer);
    return Text(buffer.data(), std::min(length, kMaxPath));
}

void VisitProcesses(const std::function<void(const ProcessEntry&)>& visit) {
    Processes& processes = TheMachine().ProcessTable();
    const ProcessTableHandle snapshot(
        processes.CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0));
    if (!snapshot) return;
    ProcessEntry entry;
    entry.size = kProcessRecordSize;
    Status status = processes.Process32First(snapshot.Get(), entry);
    while (status.IsOk()) {
        visit(entry);
        status = processes.Process32Next(snapshot.Get(), entry);
    }
}

void VisitModules(std::uint32_t processId, const std::function<bool(const Text& exePath)>& visit) {
    Processes& processes = TheMachine().ProcessTable();
    const ProcessTableHandle snapshot(
        processes.CreateToolhelp32Snapshot(SnapshotHolds::Modules, processId));
    if (!snapshot) return;
    ModuleEntry entry;
    entry.size = kStatedModuleSize;
    Status status = processes.Module32First(snapshot.Get(), entry);
    while (status.IsOk() && visit(entry.exePath)) {
        status = processes.Module32Next(snapshot.Get(), entry);
    }
}

}  // namespace bkfd
