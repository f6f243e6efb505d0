#pragma once

#include <cstdint>
#include <memory>

#include "platform/Machine.h"
#include "services/ItemList.h"
#include "services/KeyedList.h"
#include "services/Logger.h"

namespace bkfd {

/// Lists processes, ends them and renames files; the one class that touches either. The family of
/// Windows decides between two ways of doing each. Lists of files are keyed by full path.
class CProcessManager {
  public:
    void Init(LoggerRef logger);
    /// The same as `TerminateProcessesByModules` for one file.
    void TerminateProcessesByModule(const Text& module, bool terminateSelf);
    /// Ends every process that has one of the files loaded, as its program or as a module, without
    /// waiting for the end. This process is ended last, after a message, and only when
    /// `terminateSelf` is true. A process that can't be opened with all access is passed over.
    void TerminateProcessesByModules(const KeyedList& modules, bool terminateSelf);
    /// A new tree: a node a process with its program file as `Id`, its modules as children. What
    /// can't be opened is left out.
    void EnumProcs(std::shared_ptr<ItemList>& tree);
    /// Moves a file within its folder. A file that bears the target's name is deleted, and the
    /// source loses its read-only, hidden and system attributes whether it can be moved or not.
    /// Failures are logged.
    void SafeRenameFile(const Text& source, const Text& target, bool& ok);
    /// Gives each file its disabled name and notes its old one in the registry. Files that can't be
    /// renamed get a second attempt, 2 seconds after the holders of all the files were ended; this
    /// process is spared. Failures are logged.
    void RenameParasiteFilesEx(const KeyedList& files);
    /// The same for one file.
    void RenameParasiteFileEx(const Text& file);

  private:
    void TerminateByModulesNT(const KeyedList& modules, bool terminateSelf);
    void TerminateByModules9x(const KeyedList& modules, bool terminateSelf);
    void TerminateList(const KeyedList& victims);
    static std::shared_ptr<ItemList> EnumProcsNT();
    static void TrimAtNull(const Text& text, Text& result);
    static std::shared_ptr<ItemList> EnumProcs9x();
    /// True when the process was ended.
    bool MyTerminateProcess(Handle process, const Text& label);
    void RenameParasiteFile(const Text& file, bool& ok);
    void RenameFileNT(const Text& source, const Text& target, bool& ok);
    void RenameFile9x(const Text& source, const Text& target, bool& ok);

    LoggerRef logger_;
};

}  // namespace bkfd
