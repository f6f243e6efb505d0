#include "components/CustomInit.h"

namespace bkfd {

/// The logger stays as it is.
HRESULT CustomInit(VARIANTARG&) {
    return S_OK;
}

}  // namespace bkfd
