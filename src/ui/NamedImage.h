#pragma once

#include "base/Text.h"

namespace bkfd {

/// One image of a list of small ones: the key that rows and tabs name, and the icon resource.
struct NamedImage {
    Text key;
    Text resource;
};

}  // namespace bkfd
