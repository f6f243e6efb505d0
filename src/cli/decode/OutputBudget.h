#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace bkfd {

/// What is wrong with a report as a whole; never leaves the decoder.
struct MalformedReport : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How many bytes a decoded report may still take.
class OutputBudget {
  public:
    explicit OutputBudget(std::size_t limit) : limit_(limit), left_(limit) {}

    /// A MalformedReport when there is no room for that many bytes.
    void Take(std::size_t count) {
        if (count > left_) {
            throw MalformedReport("its files would take more than " + std::to_string(limit_ >> 20) +
                                  " MiB; --limit allows more");
        }
        left_ -= count;
    }
    void GiveBack(std::size_t count) { left_ += count; }

  private:
    std::size_t limit_;
    std::size_t left_;
};

}  // namespace bkfd
