#pragma once

#include <functional>
#include <list>
#include <memory>
#include <unordered_map>
#include <variant>
#include <vector>

#include "platform/model/ChangeLog.h"
#include "platform/model/FileRules.h"
#include "platform/model/MachineFacts.h"

namespace bkfd {

/// A process of a modelled machine.
struct ProcessRecord {
    std::uint32_t id = 0;
    Text path;                  // as the system reports it
    std::vector<Text> modules;  // without the program file
    bool denied = false;        // can't be opened
    bool self = false;          // the program itself

    bool operator==(const ProcessRecord&) const = default;
};

/// The process calls over a list of records.
class ModelProcesses final : public Processes {
  public:
    /// `log` may be null.
    ModelProcesses(const MachineFacts& facts, ChangeLog* log);

    void Add(ProcessRecord record);
    std::vector<ProcessRecord> All() const;
    /// Whether a process runs the file or has it loaded.
    bool IsHeld(TextView path) const;
    /// The processes don't run now: no file is held by them.
    void HoldNothing() { holdsNothing_ = true; }
    bool HoldsNothing() const { return holdsNothing_; }
    /// Ends a process without asking anybody; false if there is none of that number.
    bool End(std::uint32_t id);
    /// Drops the processes and modules of which `isThere` says no.
    void DropMissing(const std::function<bool(const Text& path)>& isThere);
    /// Other processes from now on; the old ones count as ended.
    void Replace(std::vector<ProcessRecord> records);
    /// Is called after a process has ended.
    void OnEnded(std::function<void(const ProcessRecord&)> handler) {
        onEnded_ = std::move(handler);
    }

    /// A handle to something other than a process, such as a token.
    Handle OpenToken();
    bool IsToken(Handle handle) const;
    std::size_t OpenHandleCount() const { return handles_.size(); }

    std::uint32_t GetCurrentProcessId() override;
    Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) override;
    Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules, std::uint32_t bytes,
                              std::uint32_t& needed) override;
    std::uint32_t GetModuleFileNameExW(Handle process, ModuleHandle module,
                                       std::span<char16_t> buffer) override;
    Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override;
    Status TerminateProcess(Handle process, std::uint32_t exitCode) override;
    Status CloseHandle(Handle handle) override;
    Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) override;
    Status Process32First(Handle snapshot, ProcessEntry& entry) override;
    Status Process32Next(Handle snapshot, ProcessEntry& entry) override;
    Status Module32First(Handle snapshot, ModuleEntry& entry) override;
    Status Module32Next(Handle snapshot, ModuleEntry& entry) override;

  private:
    struct Running {
        ProcessRecord record;
        bool hasEnded = false;
    };
    using RunningRef = std::shared_ptr<Running>;
    using RunningList = std::list<RunningRef>;  // in the order of their starts
    struct OpenedProcess {
        RunningRef process;
        std::uint32_t access = 0;
    };
    struct Snapshot {
        std::vector<std::pair<std::uint32_t, Text>> processes;
        std::vector<Text> modules;
        std::size_t nextProcess = 0;
        std::size_t nextModule = 0;
    };
    struct Token {};
    using Opened = std::variant<OpenedProcess, Snapshot, Token>;

    RunningRef FindRunning(std::uint32_t id) const;
    /// Takes a process off the list; those behind it keep their order.
    void Drop(RunningList::iterator running);
    /// Calls `visit` with the lower-cased path of each file that the process holds.
    template <class Visit>
    void ForEachFile(const ProcessRecord& process, const Visit& visit) const;
    /// Null if the handle is none of a living process with all of these rights.
    Running* Use(Handle process, std::uint32_t access, Status& status);
    Snapshot* UseSnapshot(Handle snapshot);
    bool TakeModules(std::uint32_t processId, Snapshot& snapshot);
    Handle Keep(Opened opened);

    const MachineFacts& facts_;
    ChangeLog* log_;
    RunningList running_;
    std::unordered_map<std::uint32_t, RunningList::iterator> byId_;
    std::unordered_map<Handle, Opened> handles_;
    Handle lastHandle_ = 0x40;
    std::function<void(const ProcessRecord&)> onEnded_;
    mutable std::unordered_map<Text, std::size_t> holders_;  // their numbers, by held file
    mutable bool isHoldersKnown_ = false;
    bool holdsNothing_ = false;
};

/// The locks that end with a process: of the files that it was the last to hold.
void ReleaseLocks(const ProcessRecord& ended, const ModelProcesses& processes,
                  const MachineFacts& facts, FileRules& rules);

}  // namespace bkfd
