#pragma once

#include <span>

#include "components/LateBound.h"

namespace bkfd {

/// A class of this file.
struct CustomClass {
    const char16_t* classId;
    const char16_t* progId;  // null for a class that is known by its identifier alone
    const char16_t* title;
    LateBound* (*make)();  // null when memory is short
};

std::span<const CustomClass> CustomClasses();

}  // namespace bkfd
