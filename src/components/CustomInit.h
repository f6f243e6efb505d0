#pragma once

#include "components/LateBound.h"

namespace bkfd {

/// What `CCustom2.Init` does with its argument: a reference to the variable that holds the
/// program's logger. Storing another object there makes that one the logger of the whole program;
/// it is called late-bound, as Write(code, message, level, source). One file for each behaviour.
HRESULT CustomInit(VARIANTARG& logger);

}  // namespace bkfd
