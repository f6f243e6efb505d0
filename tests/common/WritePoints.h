#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "platform/files/HostFiles.h"

namespace bkfd {

/// Runs the work in a process that ends at its `point`-th durable write; false if there are fewer.
inline bool EndsAt(int point, const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        int reached = 0;
        SetWritePointHook([&](const char*) {
            if (++reached == point) _exit(1);
        });
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << point;
    EXPECT_LE(WEXITSTATUS(status), 1) << point;
    return WEXITSTATUS(status) == 1;
}

}  // namespace bkfd
