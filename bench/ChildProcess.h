#pragma once

#include <string>
#include <vector>

namespace bkfd {

struct ChildResult {
    bool started = false;
    int exitCode = -1;  // -1 when a signal ended it
    double seconds = 0;
    double processorSeconds = 0;  // of the program and of the system for it
    long peakKilobytes = 0;
};

/// Runs a program, looked up in PATH, to its end. What it prints is dropped.
ChildResult RunChild(const std::vector<std::string>& command);

}  // namespace bkfd
