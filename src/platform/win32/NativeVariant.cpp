#include <windows.h>
// Behind windows.h.
#include "platform/win32/NativeVariant.h"

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// These headers leave out the const of an argument that is only read.
VARIANT* ToRead(const VARIANT& native) {
    return const_cast<VARIANT*>(&native);
}

BSTR ToBstr(TextView text) {
    const BSTR native = ::SysAllocStringLen(Wide(text.data()), static_cast<UINT>(text.size()));
    if (native == nullptr) throw RuntimeError(ErrorNumber::OutOfMemory);
    return native;
}

Text FromBstr(BSTR text) {
    return Text(FromWide(text, ::SysStringLen(text)));
}

Variant FromOtherKind(const VARIANT& native) {
    // An array of bytes would become text.
    if ((native.vt & VT_ARRAY) != 0) throw RuntimeError(ErrorNumber::TypeMismatch);
    NativeVariant changed;
    if (SUCCEEDED(::VariantChangeType(changed.Get(), ToRead(native), 0, VT_BSTR))) {
        return FromBstr(changed.Get()->bstrVal);
    }
    throw RuntimeError(ErrorNumber::TypeMismatch);
}

Variant FromNumber(std::int64_t number) {
    const auto narrow = static_cast<std::int32_t>(number);
    return narrow == number ? Variant(narrow) : Variant(ToText(number));
}

}  // namespace

NativeVariant::NativeVariant(const Variant& value) : NativeVariant() {
    if (value.IsText()) {
        value_.bstrVal = ToBstr(value.TextRef());
        value_.vt = VT_BSTR;
    } else if (value.IsInteger()) {
        const auto narrow = static_cast<SHORT>(value.AsInteger());
        const bool isNarrow = value == Variant(narrow);
        value_.lVal = isNarrow ? narrow : value.AsInteger();
        value_.vt = isNarrow ? VT_I2 : VT_I4;
    } else if (value.IsObject()) {
        const bool isNull = value == Variant(ObjectRef());
        value_.pdispVal = isNull ? nullptr : ToDispatch(value.AsObject());
        value_.vt = VT_DISPATCH;
    }
}

VARIANT NativeVariant::Release() {
    const VARIANT value = value_;
    ::VariantInit(&value_);
    return value;
}

Variant FromNative(const VARIANT& native) {
    if ((native.vt & VT_BYREF) != 0) {
        NativeVariant copy;
        if (FAILED(::VariantCopyInd(copy.Get(), ToRead(native)))) {
            throw RuntimeError(ErrorNumber::TypeMismatch);
        }
        return FromNative(*copy.Get());
    }
    switch (native.vt) {
        case VT_EMPTY:
        case VT_NULL:
            return {};
        case VT_I2:
            return static_cast<std::int16_t>(native.iVal);
        case VT_BOOL:
            return static_cast<std::int16_t>(native.boolVal);
        case VT_BSTR:
            return FromBstr(native.bstrVal);
        case VT_DISPATCH:
        case VT_UNKNOWN:
            return FromUnknown(native.punkVal);
        case VT_I1:
            return FromNumber(native.cVal);
        case VT_UI1:
            return FromNumber(native.bVal);
        case VT_UI2:
            return FromNumber(native.uiVal);
        case VT_I4:
        case VT_INT:
            return FromNumber(native.lVal);
        case VT_UI4:
        case VT_UINT:
            return FromNumber(native.ulVal);
        case VT_I8:
            return FromNumber(native.llVal);
        default:
            return FromOtherKind(native);
    }
}

HRESULT StoreThrough(const VARIANT& reference, const Variant& value) {
    if ((reference.vt & VT_BYREF) == 0) return S_OK;
    NativeVariant native(value);
    const auto kind = static_cast<VARTYPE>(reference.vt & ~VT_BYREF);
    if (kind == VT_VARIANT) return ::VariantCopy(reference.pvarVal, native.Get());
    const HRESULT changed = ::VariantChangeType(native.Get(), native.Get(), 0, kind);
    if (FAILED(changed)) return changed;
    switch (kind) {
        case VT_I2:
        case VT_BOOL:
            *reference.piVal = native.Get()->iVal;
            return S_OK;
        case VT_I4:
            *reference.plVal = native.Get()->lVal;
            return S_OK;
        case VT_BSTR:
            std::swap(*reference.pbstrVal, native.Get()->bstrVal);
            return S_OK;
        case VT_DISPATCH:
        case VT_UNKNOWN:
            std::swap(*reference.ppunkVal, native.Get()->punkVal);
            return S_OK;
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

}  // namespace bkfd
