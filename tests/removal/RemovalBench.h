#pragma once

#include "common/EngineBench.h"

namespace bkfd {

/// A bench on which pumping messages moves the clock on.
class RemovalBench : public EngineBench {
  public:
    explicit RemovalBench(WindowsFamily family = WindowsFamily::NT) : EngineBench(family) {
        toolkit.onPump = [this] { machine.AdvanceClock(100); };
    }
};

/// Whether the program ended inside `steps`.
template <class Steps>
bool EndsProgram(Steps&& steps) {
    try {
        steps();
        return false;
    } catch (const ProgramEnd&) {
        return true;
    }
}

}  // namespace bkfd
