#pragma once

#include "base/RuntimeError.h"

namespace bkfd {

/// The number of the error that the action ends with; 0 for none.
template <class Action>
std::int32_t ErrorOf(Action action) {
    try {
        action();
    } catch (...) {
        return CurrentError().Number();
    }
    return 0;
}

}  // namespace bkfd
