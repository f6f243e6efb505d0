#pragma once

#include <memory>
#include <span>

#include "platform/Machine.h"
#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// Lists processes, ends them and renames files; the one class that touches either. The family of
/// Windows decides between two ways of doing each.
class CProcessManager {
  public:
    void Init(LoggerRef logger);
    /// A new tree: a node a process with its program file as `Id`, its modules as children. What
    /// can't be opened is left out.
    void EnumProcs(std::shared_ptr<ItemList>& tree);

  private:
    void EnumProcsNT(ItemList& tree);
    static void TrimAtNull(const Text& text, Text& result);
    void EnumProcs9x(ItemList& tree);

    LoggerRef logger_;
};

}  // namespace bkfd
