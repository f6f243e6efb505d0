#pragma once

#include <string>
#include <vector>

namespace bkfd {

struct ChildResult {
    bool started = false;
    int exitCode = -1;  // -1 when a signal ended it
    double seconds = 0;
    double processorSeconds = 0;  // of the program and of the system for it
    long peakKilobytes = 0;       // at least that of the program that started it: see RunSmall
};

/// The path of the running program.
std::string ThisProgram();

/// Runs a program, looked up in PATH, to its end. What it prints is dropped.
ChildResult RunChild(const std::vector<std::string>& command);

/// The same from a process that is small itself, without times: the system counts the memory of
/// the one that starts a program as the program's. `launcher` runs a command given to it behind
/// "--run" by `RunAndTell`.
ChildResult RunSmall(const std::string& launcher, const std::vector<std::string>& command);
/// Runs the command and writes its result to standard output, for `RunSmall`.
int RunAndTell(const std::vector<std::string>& command);

}  // namespace bkfd
