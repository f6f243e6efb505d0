#pragma once

#include <optional>
#include <string>
#include <string_view>

/// SHA-256 in lower-case hexadecimal.
namespace bkfd {

/// Of a file of the host; nothing for one that is missing or can't be read to its end.
std::optional<std::string> HostFileSha256(const std::string& path);
std::string TextSha256(std::string_view text);

}  // namespace bkfd
