#pragma once

#include <cstdint>
#include <string>

namespace bkfd {

/// Why a registry file of the host can't be read or written.
struct RegistryFileError {
    std::uint32_t code = 0;  // of `SystemError`
    std::string file;        // a path of the host
    std::string message;     // a clause for people: "was changed by somebody else"
};

}  // namespace bkfd
