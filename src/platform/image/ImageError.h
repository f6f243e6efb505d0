#pragma once

#include <cstddef>
#include <string>

namespace bkfd {

/// Why an image can't be used: one clause for people, with the place where it is known.
struct ImageError {
    std::string file;      // the host's path
    std::size_t line = 0;  // counted from 1, 0 if it isn't known
    std::string key;       // of machine.json or the registry, or empty
    std::string message;
    bool goesBy = false;  // another use of the image, say

    /// "file:line: key: message", without what isn't known.
    std::string Describe() const;
};

}  // namespace bkfd
