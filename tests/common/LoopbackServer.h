#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace bkfd {

/// A Python server of this source tree on loopback, which the programs' HTTP requests reach as
/// their proxy for as long as this object lives.
class LoopbackServer {
  public:
    /// `script` is a path below the source tree. Returns when the server listens.
    LoopbackServer(const std::string& script, const std::vector<std::string>& arguments) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        Start(BKFD_SOURCE_DIR "/" + script, arguments, ends);
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
        const std::string line = ReadLine();
        const std::string prefix = "listening on ";
        if (!line.starts_with(prefix)) throw std::runtime_error(script + " doesn't listen");
        UseProxy("http://" + line.substr(prefix.size()));
    }
    ~LoopbackServer() {
        unsetenv("http_proxy");
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        fclose(output_);
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    /// The next line that the server prints, without its end.
    std::string ReadLine() {
        std::string line;
        for (int c; (c = fgetc(output_)) != EOF && c != '\n';) line += static_cast<char>(c);
        return line;
    }

    /// Whether the server has printed something that wasn't read.
    bool HasLine() const {
        pollfd waiting{fileno(output_), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }

    static void UseProxy(const std::string& address) {
        setenv("http_proxy", address.c_str(), 1);
        setenv("no_proxy", "", 1);
    }

  private:
    void Start(const std::string& script, std::vector<std::string> arguments, const int ends[2]) {
        arguments.insert(arguments.begin(), {"python3", script});
        std::vector<char*> values;
        for (std::string& argument : arguments) values.push_back(argument.data());
        values.push_back(nullptr);
        child_ = fork();
        if (child_ != 0) return;
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        execvp("python3", values.data());
        _exit(127);
    }

    pid_t child_ = 0;
    FILE* output_ = nullptr;
};

}  // namespace bkfd
