#pragma once

#include "common/EngineFixture.h"

namespace bkfd {

/// A fixture on which pumping messages moves the clock on.
class RemovalFixture : public EngineFixture {
  public:
    explicit RemovalFixture(WindowsFamily family = WindowsFamily::NT) : EngineFixture(family) {
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
