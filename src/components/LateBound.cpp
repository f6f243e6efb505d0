#include "components/LateBound.h"

#include <oleauto.h>

namespace bkfd {
namespace {
LONG alive = 0;
}

LONG ObjectsAlive() {
    return alive;
}

LateBound::LateBound(Names members) : members_(members) {
    ::InterlockedIncrement(&alive);
}

LateBound::~LateBound() {
    ::InterlockedDecrement(&alive);
}

HRESULT LateBound::QueryInterface(REFIID iid, void** result) {
    if (result == nullptr) return E_POINTER;
    const bool known = ::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IDispatch);
    *result = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
}

ULONG LateBound::AddRef() {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
}

ULONG LateBound::Release() {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
}

HRESULT LateBound::GetTypeInfoCount(UINT* count) {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT LateBound::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
    if (info != nullptr) *info = nullptr;
    return E_NOTIMPL;
}

HRESULT LateBound::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (_wcsicmp(names[0], members_[i]) != 0) continue;
        ids[0] = static_cast<DISPID>(i + 1);
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
    }
    return DISP_E_UNKNOWNNAME;
}

HRESULT LateBound::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT* result,
                          EXCEPINFO*, UINT*) {
    if (parameters == nullptr) return E_INVALIDARG;
    if (id < 1 || static_cast<std::size_t>(id) > members_.size()) return DISP_E_MEMBERNOTFOUND;
    if (parameters->cNamedArgs != 0) return DISP_E_NONAMEDARGS;
    if (result != nullptr) ::VariantInit(result);
    return Call(static_cast<std::size_t>(id) - 1, {parameters->rgvarg, parameters->cArgs});
}

}  // namespace bkfd
