#include "ui/Toolkit.h"

#include <cassert>
#include <utility>

namespace bkfd {
namespace {
Toolkit* installed = nullptr;
}

Toolkit& TheToolkit() {
    assert(installed != nullptr);
    return *installed;
}

Toolkit* InstallToolkit(Toolkit* toolkit) {
    return std::exchange(installed, toolkit);
}

}  // namespace bkfd
