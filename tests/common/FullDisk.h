#pragma once

#include <sys/resource.h>

#include <csignal>

namespace bkfd {

/// No file can grow beyond `size` as long as the object lives.
class FullDisk {
  public:
    explicit FullDisk(rlim_t size) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit now{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before_{};
};

}  // namespace bkfd
