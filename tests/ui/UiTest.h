#pragma once

#include <gtest/gtest.h>

#include "SampleWindow.h"
#include "testing/HeadlessToolkit.h"

namespace bkfd {

/// A headless toolkit for the length of a test, and a log of the events.
class UiTest : public testing::Test {
  protected:
    UiTest() { before_ = InstallToolkit(&toolkit); }
    ~UiTest() override { InstallToolkit(before_); }

    EventLog TakeLog() { return std::exchange(log, {}); }

    HeadlessToolkit toolkit;
    EventLog log;

  private:
    Toolkit* before_;
};

}  // namespace bkfd
