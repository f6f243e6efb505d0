#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/Machine.h"

/// The walks over processes and modules that both families' operations of the process manager
/// share. What the system refuses shows as an empty list.
namespace bkfd {

/// A handle of the process table, closed with the object; 0 is none.
class ProcessTableHandle {
  public:
    explicit ProcessTableHandle(Handle handle) : handle_(handle) {}
    ~ProcessTableHandle();
    ProcessTableHandle(const ProcessTableHandle&) = delete;
    ProcessTableHandle& operator=(const ProcessTableHandle&) = delete;

    Handle Get() const { return handle_; }
    explicit operator bool() const { return handle_ != 0; }

  private:
    Handle handle_;
};

/// Opens a process; no handle when the system refuses.
Handle OpenProcessOrNone(std::uint32_t access, std::uint32_t processId);

/// The identifiers of all processes, in the system's order (NT family).
std::vector<std::uint32_t> ListProcessIds();

/// The modules of one process, the program file first (NT family). No more than 1024 are seen.
class ModuleList {
  public:
    /// Reads the modules of an open process; false when the system refuses.
    bool Read(Handle process);
    std::size_t Count() const { return count_; }
    /// The path of a module, counted from 0, in the form and case that the system reports; at most
    /// `kMaxPath` characters, empty when the system gives none.
    Text Name(std::size_t index) const;

  private:
    std::array<ModuleHandle, 1024> modules_{};
    std::size_t count_ = 0;
    Handle process_ = 0;
};

/// Calls `visit` with each process (Windows 95 family).
void VisitProcesses(const std::function<void(const ProcessEntry&)>& visit);
/// Calls `visit` with the path field of each module of a process, the program file among them,
/// until it returns false (Windows 95 family).
void VisitModules(std::uint32_t processId, const std::function<bool(const Text& exePath)>& visit);

}  // namespace bkfd
