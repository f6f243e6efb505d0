#include "platform/model/ModelProcesses.h"

#include <algorithm>
#include <iterator>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kBytesAnEntry = 4;
/// Where programs and libraries are commonly loaded; the handle of a module is its address.
constexpr ModuleHandle kProgramBase = 0x0040'0000;
constexpr ModuleHandle kFirstModuleBase = 0x1000'0000;
constexpr ModuleHandle kModuleDistance = 0x0001'0000;
/// Process identifiers are multiples of 4, so that no listed process has this one.
constexpr std::uint32_t kOwnIdWhenNotListed = 0xFFFF'FFF1;

ModuleHandle ModuleAt(std::size_t index) {
    if (index == 0) return kProgramBase;
    return kFirstModuleBase + static_cast<ModuleHandle>(index - 1) * kModuleDistance;
}

Text PathField(TextView path) {
    Text field(path.substr(0, kMaxPath - 1));
    field.resize(kMaxPath, u'\0');
    return field;
}

}  // namespace

void ReleaseLocks(const ProcessRecord& ended, const ModelProcesses& processes,
                  const MachineFacts& facts, FileRules& rules) {
    const auto release = [&](const Text& reported) {
        const Text path = WindowsPath::FoldReported(reported, facts.WindowsFolder());
        if (rules.Get(path).isLocked && !processes.IsHeld(path)) rules.At(path).isLocked = false;
    };
    release(ended.path);
    for (const Text& module : ended.modules) release(module);
}

ModelProcesses::ModelProcesses(const MachineFacts& facts, ChangeLog* log)
    : facts_(facts), log_(log) {}

void ModelProcesses::Add(ProcessRecord record) {
    running_.push_back(std::make_shared<Running>(Running{std::move(record), false}));
    byId_.emplace(running_.back()->record.id, std::prev(running_.end()));
    isHoldersKnown_ = false;
}

void ModelProcesses::Drop(RunningList::iterator running) {
    (*running)->hasEnded = true;
    const auto known = byId_.find((*running)->record.id);
    if (known != byId_.end() && known->second == running) byId_.erase(known);
    running_.erase(running);
}

void ModelProcesses::Replace(std::vector<ProcessRecord> records) {
    while (!running_.empty()) Drop(running_.begin());
    for (ProcessRecord& record : records) Add(std::move(record));
    isHoldersKnown_ = false;
}

std::vector<ProcessRecord> ModelProcesses::All() const {
    std::vector<ProcessRecord> records;
    for (const RunningRef& running : running_) records.push_back(running->record);
    return records;
}

template <class Visit>
void ModelProcesses::ForEachFile(const ProcessRecord& process, const Visit& visit) const {
    const Text windows = facts_.WindowsFolder();
    visit(WindowsPath::FoldReported(process.path, windows));
    for (const Text& module : process.modules) visit(WindowsPath::FoldReported(module, windows));
}

bool ModelProcesses::IsHeld(TextView path) const {
    if (holdsNothing_) return false;
    if (!isHoldersKnown_) {
        holders_.clear();
        for (const RunningRef& running : running_) {
            ForEachFile(running->record, [this](const Text& file) { ++holders_[file]; });
        }
        isHoldersKnown_ = true;
    }
    return holders_.contains(ToLower(path));
}

bool ModelProcesses::End(std::uint32_t id) {
    const auto known = byId_.find(id);
    if (known == byId_.end()) return false;
    const RunningRef ended = *known->second;
    Drop(known->second);
    if (isHoldersKnown_) {
        ForEachFile(ended->record, [this](const Text& file) {
            const auto holders = holders_.find(file);
            if (--holders->second == 0) holders_.erase(holders);
        });
    }
    if (onEnded_) onEnded_(ended->record);
    return true;
}

void ModelProcesses::DropMissing(const std::function<bool(const Text& path)>& isThere) {
    const Text windows = facts_.WindowsFolder();
    const auto isMissing = [&](const Text& path) {
        const Text folded = WindowsPath::FoldReported(path, windows);
        // The system's own processes, such as "System", have no file that could be missing.
        const bool isFile = folded.size() > 2 && folded[1] == u':';
        return isFile && !isThere(folded);
    };
    for (auto next = running_.begin(); next != running_.end();) {
        const auto running = next++;
        if (isMissing((*running)->record.path)) {
            Drop(running);
        } else {
            std::erase_if((*running)->record.modules, isMissing);
        }
    }
    isHoldersKnown_ = false;
}

ModelProcesses::RunningRef ModelProcesses::FindRunning(std::uint32_t id) const {
    const auto known = byId_.find(id);
    return known == byId_.end() ? nullptr : *known->second;
}

Handle ModelProcesses::Keep(Opened opened) {
    lastHandle_ += 4;
    handles_.emplace(lastHandle_, std::move(opened));
    return lastHandle_;
}

Handle ModelProcesses::OpenToken() {
    return Keep(Token{});
}

bool ModelProcesses::IsToken(Handle handle) const {
    const auto found = handles_.find(handle);
    return found != handles_.end() && std::holds_alternative<Token>(found->second);
}

ModelProcesses::Running* ModelProcesses::Use(Handle process, std::uint32_t access, Status& status) {
    const auto found = handles_.find(process);
    const auto* opened =
        found == handles_.end() ? nullptr : std::get_if<OpenedProcess>(&found->second);
    if (opened == nullptr) {
        status = {SystemError::InvalidHandle};
        return nullptr;
    }
    if ((opened->access & access) != access || opened->process->hasEnded) {
        status = {SystemError::AccessDenied};
        return nullptr;
    }
    status = {};
    return opened->process.get();
}

std::uint32_t ModelProcesses::GetCurrentProcessId() {
    for (const RunningRef& running : running_) {
        if (running->record.self) return running->record.id;
    }
    return kOwnIdWhenNotListed;
}

Status ModelProcesses::EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) {
    needed = 0;
    if (!facts_.IsNT()) return {SystemError::CallNotImplemented};
    std::size_t count = 0;
    for (const RunningRef& running : running_) {
        if (count == ids.size()) break;
        ids[count++] = running->record.id;
    }
    needed = static_cast<std::uint32_t>(count) * kBytesAnEntry;
    return {};
}

Status ModelProcesses::EnumProcessModules(Handle process, std::span<ModuleHandle> modules,
                                          std::uint32_t bytes, std::uint32_t& needed) {
    needed = 0;
    if (!facts_.IsNT()) return {SystemError::CallNotImplemented};
    Status status;
    const Running* running = Use(process, ProcessAccess::QueryAndRead, status);
    if (running == nullptr) return status;
    const std::size_t all = running->record.modules.size() + 1;
    const std::size_t fitting = std::min({all, modules.size(), std::size_t{bytes / kBytesAnEntry}});
    for (std::size_t i = 0; i < fitting; ++i) modules[i] = ModuleAt(i);
    needed = static_cast<std::uint32_t>(all) * kBytesAnEntry;
    return {};
}

std::uint32_t ModelProcesses::GetModuleFileNameExW(Handle process, ModuleHandle module,
                                                   std::span<char16_t> buffer) {
    Status status;
    const Running* running = Use(process, ProcessAccess::QueryAndRead, status);
    if (running == nullptr || !facts_.IsNT() || buffer.empty()) return 0;
    const Text* path = nullptr;
    if (module == 0 || module == kProgramBase) path = &running->record.path;
    const std::size_t index = (module - kFirstModuleBase) / kModuleDistance;
    if (path == nullptr && module >= kFirstModuleBase && module % kModuleDistance == 0 &&
        index < running->record.modules.size()) {
        path = &running->record.modules[index];
    }
    if (path == nullptr) return 0;
    const std::size_t count = std::min(path->size(), buffer.size());
    std::copy_n(path->begin(), count, buffer.begin());
    if (count < buffer.size()) buffer[count] = u'\0';
    return static_cast<std::uint32_t>(count);
}

Result<Handle> ModelProcesses::OpenProcess(std::uint32_t access, std::uint32_t processId) {
    const RunningRef running = FindRunning(processId);
    if (!running) return Status{SystemError::InvalidParameter};
    if (running->record.denied) return Status{SystemError::AccessDenied};
    return Keep(OpenedProcess{running, access});
}

Status ModelProcesses::TerminateProcess(Handle process, std::uint32_t /*exitCode*/) {
    Status status;
    const Running* running = Use(process, ProcessAccess::Terminate, status);
    if (running == nullptr) return status;
    MachineChange change;
    change.kind = MachineChange::Kind::EndProcess;
    change.number = running->record.id;
    if (log_ != nullptr) status = log_->Note(change);
    if (status.IsOk()) End(change.number);
    return status;
}

Status ModelProcesses::CloseHandle(Handle handle) {
    return handles_.erase(handle) > 0 ? Status{} : Status{SystemError::InvalidHandle};
}

bool ModelProcesses::TakeModules(std::uint32_t processId, Snapshot& snapshot) {
    const RunningRef running = FindRunning(processId == 0 ? GetCurrentProcessId() : processId);
    if (!running || running->record.denied) return false;
    snapshot.modules.push_back(running->record.path);
    snapshot.modules.insert(snapshot.modules.end(), running->record.modules.begin(),
                            running->record.modules.end());
    return true;
}

Handle ModelProcesses::CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) {
    Snapshot snapshot;
    if ((flags & SnapshotHolds::Modules) != 0 && !TakeModules(processId, snapshot)) {
        return kInvalidHandle;
    }
    if ((flags & SnapshotHolds::Processes) != 0) {
        for (const RunningRef& running : running_) {
            snapshot.processes.emplace_back(running->record.id, running->record.path);
        }
    }
    return Keep(std::move(snapshot));
}

ModelProcesses::Snapshot* ModelProcesses::UseSnapshot(Handle snapshot) {
    const auto found = handles_.find(snapshot);
    return found == handles_.end() ? nullptr : std::get_if<Snapshot>(&found->second);
}

Status ModelProcesses::Process32First(Handle snapshot, ProcessEntry& entry) {
    if (Snapshot* opened = UseSnapshot(snapshot)) opened->nextProcess = 0;
    return Process32Next(snapshot, entry);
}

Status ModelProcesses::Process32Next(Handle snapshot, ProcessEntry& entry) {
    Snapshot* opened = UseSnapshot(snapshot);
    if (opened == nullptr) return {SystemError::InvalidHandle};
    if (entry.size < kProcessRecordSize) return {SystemError::BadLength};
    if (opened->nextProcess >= opened->processes.size()) return {SystemError::NoMoreFiles};
    const auto& [id, path] = opened->processes[opened->nextProcess++];
    entry.processId = id;
    // The NT family gives the name alone here.
    entry.exeFile = PathField(facts_.IsNT() ? WindowsPath::Name(path) : TextView(path));
    return {};
}

Status ModelProcesses::Module32First(Handle snapshot, ModuleEntry& entry) {
    if (Snapshot* opened = UseSnapshot(snapshot)) opened->nextModule = 0;
    return Module32Next(snapshot, entry);
}

Status ModelProcesses::Module32Next(Handle snapshot, ModuleEntry& entry) {
    Snapshot* opened = UseSnapshot(snapshot);
    if (opened == nullptr) return {SystemError::InvalidHandle};
    if (entry.size < kModuleRecordSize) return {SystemError::BadLength};
    if (opened->nextModule >= opened->modules.size()) return {SystemError::NoMoreFiles};
    entry.exePath = PathField(opened->modules[opened->nextModule++]);
    return {};
}

}  // namespace bkfd
