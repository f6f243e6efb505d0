#pragma once

#include "win32/Owned.h"

namespace bkfd {

template <class Interface>
struct ComTraits {
    using Type = Interface*;
    static Interface* Invalid() { return nullptr; }
    static void Close(Interface* object) { object->Release(); }
};

/// Owns one reference to a COM object.
template <class Interface>
using ComPtr = Owned<ComTraits<Interface>>;

}  // namespace bkfd
