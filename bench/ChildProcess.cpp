#include "ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

namespace bkfd {
namespace {

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

std::string ThisProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

ChildResult RunChild(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    ChildResult result;
    pid_t child = 0;
    const auto start = std::chrono::steady_clock::now();
    result.started =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    if (!result.started) return result;
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    result.processorSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    result.peakKilobytes = usage.ru_maxrss;
    return result;
}

ChildResult RunSmall(const std::string& launcher, const std::vector<std::string>& command) {
    std::string line = "'" + launcher + "' --run";
    for (const std::string& argument : command) line += " '" + argument + "'";
    ChildResult result;
    FILE* const output = popen(line.c_str(), "r");
    if (output == nullptr) return result;
    result.started = fscanf(output, "%d %ld", &result.exitCode, &result.peakKilobytes) == 2;
    pclose(output);
    return result;
}

int RunAndTell(const std::vector<std::string>& command) {
    const ChildResult result = RunChild(command);
    printf("%d %ld\n", result.exitCode, result.peakKilobytes);
    return 0;
}

}  // namespace bkfd
