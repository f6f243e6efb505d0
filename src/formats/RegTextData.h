#pragma once

#include "base/Text.h"

/// What the reader and the writer of registry export files share.
namespace bkfd::regtext {

inline constexpr TextView kHeaderRegedit4 = u"REGEDIT4";
inline constexpr TextView kHeaderVersion5 = u"Windows Registry Editor Version 5.00";

inline constexpr std::uint32_t kString = 1;
inline constexpr std::uint32_t kExpandString = 2;
inline constexpr std::uint32_t kBinary = 3;
inline constexpr std::uint32_t kDword = 4;
inline constexpr std::uint32_t kMultiString = 7;

/// The types whose hex data is in the code page in REGEDIT4.
inline bool IsTextType(std::uint32_t type) {
    return type == kString || type == kExpandString || type == kMultiString;
}

}  // namespace bkfd::regtext
