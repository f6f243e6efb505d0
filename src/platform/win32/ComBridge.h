#pragma once

#include "base/Variant.h"

struct IDispatch;
struct IUnknown;

namespace bkfd {

/// The object as COM sees it: its members are called by name, exact in case. The caller owns one
/// reference. An object that came from COM goes back as what it was there.
IDispatch* ToDispatch(const ObjectRef& object);

/// A COM object as the program sees it, with a reference of its own; one that `ToDispatch` made is
/// the object itself again, null is null. Calls pass their arguments by reference and throw the
/// callee's error. An object that can't be called by name has no members.
ObjectRef FromUnknown(IUnknown* unknown);

}  // namespace bkfd
