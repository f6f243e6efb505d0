#pragma once

#include <cerrno>
#include <cstring>
#include <string>

#include "formats/LittleEndian.h"
#include "platform/files/HostFiles.h"
#include "platform/hive/RegistryFileError.h"

namespace bkfd {

/// What errno says of a file of the host.
inline RegistryFileError ErrnoError(const std::string& path) {
    const int error = errno;
    const bool isOther = error == EINVAL || error == EISDIR || error == ELOOP;
    return {StatusOfErrno(error).code, path,
            isOther ? "is no regular file, or lies behind a link" : std::strerror(error)};
}

inline ByteView ViewOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace bkfd
