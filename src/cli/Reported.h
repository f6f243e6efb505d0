#pragma once

#include "base/RuntimeError.h"
#include "cli/Command.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {

/// What the work of the engine returns; its errors are the command's.
template <class Work>
auto Reported(const Work& work) {
    try {
        return work();
    } catch (const RuntimeError& error) {
        throw CommandError(PrintableText(error.Description()));
    }
}

}  // namespace bkfd
