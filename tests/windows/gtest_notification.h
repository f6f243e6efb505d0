// Stands before every file that uses GoogleTest in a build for Windows: the library's own class of
// this name needs std::mutex, which the compiler's thread model lacks. Only its own tests use it.
#pragma once

#include <atomic>

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing::internal {

class Notification {
  public:
    void Notify() { notified_ = true; }
    void WaitForNotification() {
        while (!notified_) {
        }
    }

  private:
    std::atomic<bool> notified_ = false;
};

}  // namespace testing::internal
