#pragma once

#include <functional>
#include <string>

#include "formats/LittleEndian.h"
#include "platform/model/TreeStore.h"

namespace bkfd {

/// From bytes in the ANSI code page.
using DecodeAnsi = std::function<Text(std::string_view)>;

/// A registry file of the 95 family (SYSTEM.DAT, USER.DAT), read whole; texts become what programs
/// get from Windows, UTF-16 with a NUL. Changes stay in memory: nobody writes this form. What can't
/// be read, a file without a tree too, is a clause for people in `problems`.
std::unique_ptr<TreeStore> LoadCregStore(ByteView file, const DecodeAnsi& decode,
                                         std::vector<std::string>& problems);

}  // namespace bkfd
