#pragma once

#include <windows.h>
// Behind windows.h.
#include <oaidl.h>

#include <span>

namespace bkfd {

/// The number of objects of this file that are alive: while there are any, the file stays loaded.
LONG ObjectsAlive();

/// A COM object whose members are called by name alone. Made with one reference; the last release
/// deletes it.
class LateBound : public IDispatch {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* described, UINT*) override;

  protected:
    using Names = std::span<const wchar_t* const>;

    /// `members` must outlive the object; case doesn't matter in calls.
    explicit LateBound(Names members);
    virtual ~LateBound();

    /// Calls a member by its place in the names. Arguments stand in reverse order, as COM has them.
    virtual HRESULT Call(std::size_t member, std::span<VARIANTARG> arguments) = 0;

  private:
    Names members_;
    LONG references_ = 1;
};

}  // namespace bkfd
