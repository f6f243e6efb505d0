#pragma once

#include <memory>

#include "services/ItemList.h"

/// The running processes with their modules as a tree, for the inventory and for the support
/// report: a node a process with its program file as `Id`, a child a module, paths as the system
/// reports them. What can't be opened is left out.
namespace bkfd {

/// By the calls of the NT family. The program file isn't among the modules, nor are blank names.
std::shared_ptr<ItemList> GetProcessTreeNT();
/// By the calls of the Windows 95 family. The program file is among the modules, blank names too.
std::shared_ptr<ItemList> GetProcessTree9x();

}  // namespace bkfd
