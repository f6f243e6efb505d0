#pragma once

#include <oaidl.h>

#include "base/Variant.h"

// Only for the files of this folder that have included windows.h.
namespace bkfd {

/// A VARIANT that clears itself.
class NativeVariant {
  public:
    NativeVariant() { ::VariantInit(&value_); }
    explicit NativeVariant(const Variant& value);
    NativeVariant(const NativeVariant&) = delete;
    NativeVariant& operator=(const NativeVariant&) = delete;
    ~NativeVariant() { ::VariantClear(&value_); }

    VARIANT* Get() { return &value_; }
    /// Gives the value away.
    VARIANT Release();

  private:
    VARIANT value_;
};

/// The value, also where it stands behind a reference. Numbers of other kinds become 32-bit
/// integers or, where they don't fit, text; what has no form here, such as an array, is a
/// RuntimeError TypeMismatch.
Variant FromNative(const VARIANT& native);

/// Writes to the variable that `reference`, an argument passed by reference, refers to; other
/// arguments stay as they are. Returns an HRESULT.
HRESULT StoreThrough(const VARIANT& reference, const Variant& value);

}  // namespace bkfd
