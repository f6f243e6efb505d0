#include "components/CustomInit.h"

#include <oleauto.h>

namespace bkfd {

/// Something that is no logger takes the place.
HRESULT CustomInit(VARIANTARG& logger) {
    if (logger.vt != (VT_BYREF | VT_VARIANT)) return DISP_E_TYPEMISMATCH;
    ::VariantClear(logger.pvarVal);
    logger.pvarVal->vt = VT_BSTR;
    logger.pvarVal->bstrVal = ::SysAllocString(L"no logger");
    return S_OK;
}

}  // namespace bkfd
