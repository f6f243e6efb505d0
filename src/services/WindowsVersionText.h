#pragma once

#include "base/Text.h"

namespace bkfd {

/// The facts of `SysUtil::GetWindowsVersion` and its text; zeros and empty texts if the system
/// doesn't tell.
struct WindowsVersionFacts {
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t build = 0;
    std::int32_t platformId = 0;
    Text servicePack;
    Text text;  // "Windows XP 5.1.2600 Service Pack 2"
};

WindowsVersionFacts ReadWindowsVersion();

}  // namespace bkfd
