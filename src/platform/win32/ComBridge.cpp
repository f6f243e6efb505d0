#include <windows.h>
// Behind windows.h.
#include <oleauto.h>

#include <algorithm>

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "platform/win32/ComErrors.h"
#include "platform/win32/NativeVariant.h"
#include "win32/ComPtr.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// The interface that only this module's own objects answer: its identifier is made at run time, so
/// that another module which holds this code too is not mistaken for it.
const IID& OwnIdentity() {
    static const IID identity = [] {
        GUID made = {};
        ::CoCreateGuid(&made);
        return made;
    }();
    return identity;
}

/// An object of the program, as COM sees it.
class ObjectDispatch final : public IDispatch {
  public:
    explicit ObjectDispatch(ObjectRef object) : object_(std::move(object)) {}
    virtual ~ObjectDispatch() = default;

    const ObjectRef& Target() const { return object_; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (result == nullptr) return E_POINTER;
        const bool known = ::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IDispatch) ||
                           ::IsEqualIID(iid, OwnIdentity());
        *result = known ? this : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count == nullptr) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
        if (info != nullptr) *info = nullptr;
        return E_NOTIMPL;
    }
    /// Any name gets a number: whether there is such a member shows when it is called.
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* described, UINT*) override;

  private:
    void Call(const Text& name, const DISPPARAMS& parameters, VARIANT* result);

    ObjectRef object_;
    std::vector<Text> names_;  // number - 1 is the place; number 0 is the default member
    ULONG references_ = 1;     // one thread
};

HRESULT ObjectDispatch::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    try {
        for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
        const Text name(FromWide(names[0], wcslen(names[0])));
        const auto known = std::find(names_.begin(), names_.end(), name);
        ids[0] = static_cast<DISPID>(known - names_.begin()) + 1;
        if (known == names_.end()) names_.push_back(name);
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

HRESULT ObjectDispatch::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters,
                               VARIANT* result, EXCEPINFO* described, UINT*) {
    if (parameters == nullptr) return E_INVALIDARG;
    if (parameters->cNamedArgs != 0) return DISP_E_NONAMEDARGS;
    if (id < 1 || static_cast<std::size_t>(id) > names_.size()) return DISP_E_MEMBERNOTFOUND;
    try {
        Call(names_[static_cast<std::size_t>(id) - 1], *parameters, result);
        return S_OK;
    } catch (...) {
        return ReportCurrentError(described);
    }
}

void ObjectDispatch::Call(const Text& name, const DISPPARAMS& parameters, VARIANT* result) {
    const ObjectRef keptAlive = object_;
    // COM passes the last argument first.
    std::vector<Variant> arguments;
    for (UINT i = parameters.cArgs; i > 0; --i) {
        arguments.push_back(FromNative(parameters.rgvarg[i - 1]));
    }
    const std::vector<Variant> before = arguments;
    const Variant returned = keptAlive->Invoke(name, arguments);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == before[i]) continue;
        StoreThrough(parameters.rgvarg[arguments.size() - 1 - i], arguments[i]);
    }
    if (result != nullptr) *result = NativeVariant(returned).Release();
}

/// An object of COM, as the program sees it.
class ForeignObject final : public Object {
  public:
    explicit ForeignObject(ComPtr<IDispatch> dispatch) : dispatch_(std::move(dispatch)) {}

    IDispatch* Dispatch() const { return dispatch_.Get(); }
    bool HasMember(TextView name) const override;
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

  private:
    HRESULT FindMember(TextView name, DISPID& id) const;

    ComPtr<IDispatch> dispatch_;
};

HRESULT ForeignObject::FindMember(TextView name, DISPID& id) const {
    Text text(name);
    LPOLESTR names[] = {Wide(text.data())};
    id = DISPID_UNKNOWN;
    return dispatch_.Get()->GetIDsOfNames(IID_NULL, names, 1, LOCALE_SYSTEM_DEFAULT, &id);
}

bool ForeignObject::HasMember(TextView name) const {
    DISPID id = DISPID_UNKNOWN;
    return SUCCEEDED(FindMember(name, id));
}

Variant ForeignObject::Invoke(TextView name, std::span<Variant> arguments) {
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = FindMember(name, id);
    EXCEPINFO none = {};
    if (FAILED(found)) throw ErrorOfCall(found, none);
    const std::size_t count = arguments.size();
    // COM takes the last argument first.
    std::vector<std::unique_ptr<NativeVariant>> variables;
    std::vector<VARIANTARG> references(count);
    for (std::size_t i = 0; i < count; ++i) {
        variables.push_back(std::make_unique<NativeVariant>(arguments[count - 1 - i]));
        references[i].vt = VT_BYREF | VT_VARIANT;
        references[i].pvarVal = variables[i]->Get();
    }
    DISPPARAMS parameters = {};
    parameters.rgvarg = references.data();
    parameters.cArgs = static_cast<UINT>(count);
    NativeVariant result;
    EXCEPINFO described = {};
    const HRESULT called = dispatch_.Get()->Invoke(id, IID_NULL, LOCALE_SYSTEM_DEFAULT,
                                                   DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                                   &parameters, result.Get(), &described, nullptr);
    if (FAILED(called)) throw ErrorOfCall(called, described);
    for (std::size_t i = 0; i < count; ++i) {
        arguments[count - 1 - i] = FromNative(*variables[i]->Get());
    }
    return FromNative(*result.Get());
}

/// An object of COM that only exists.
class OpaqueObject final : public Object {
  public:
    explicit OpaqueObject(ComPtr<IUnknown> unknown) : unknown_(std::move(unknown)) {}

  private:
    ComPtr<IUnknown> unknown_;
};

template <class Interface>
ComPtr<Interface> Query(IUnknown* unknown, const IID& iid) {
    void* found = nullptr;
    if (FAILED(unknown->QueryInterface(iid, &found))) return {};
    return ComPtr<Interface>(static_cast<Interface*>(found));
}

}  // namespace

IDispatch* ToDispatch(const ObjectRef& object) {
    if (const auto* foreign = dynamic_cast<const ForeignObject*>(object.get())) {
        foreign->Dispatch()->AddRef();
        return foreign->Dispatch();
    }
    return new ObjectDispatch(object);
}

ObjectRef FromUnknown(IUnknown* unknown) {
    if (unknown == nullptr) return nullptr;
    const auto own = Query<ObjectDispatch>(unknown, OwnIdentity());
    if (own.IsThere()) return own.Get()->Target();
    auto dispatch = Query<IDispatch>(unknown, IID_IDispatch);
    if (dispatch.IsThere()) return std::make_shared<ForeignObject>(std::move(dispatch));
    unknown->AddRef();
    return std::make_shared<OpaqueObject>(ComPtr<IUnknown>(unknown));
}

}  // namespace bkfd
