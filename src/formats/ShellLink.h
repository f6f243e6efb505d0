#pragma once

#include <functional>
#include <optional>

#include "base/Text.h"
#include "formats/LittleEndian.h"

namespace bkfd {

/// What a shell link (.lnk) says of its target. Each field may be empty.
struct ShellLink {
    Text localPath;     // "C:\Tools\clock.exe"
    Text relativePath;  // from the link's folder: "..\..\clock.exe"
    Text arguments;
    Text environmentPath;  // with variables: "%windir%\clock.exe"
};

/// Reads a shell link, as Microsoft's open specification MS-SHLLINK has it; `decodeAnsi` knows the
/// ANSI code page. Nothing for what is no link or ends early.
std::optional<ShellLink> ReadShellLink(ByteView bytes,
                                       const std::function<Text(std::string_view)>& decodeAnsi);

}  // namespace bkfd
