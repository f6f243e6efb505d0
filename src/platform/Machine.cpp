#include "platform/Machine.h"

#include <cassert>

namespace bkfd {
namespace {
Machine* installed = nullptr;
}

Machine& TheMachine() {
    assert(installed != nullptr);
    return *installed;
}

Machine* InstallMachine(Machine* machine) {
    return std::exchange(installed, machine);
}

}  // namespace bkfd
