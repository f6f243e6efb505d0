// The entry points of BKFDCustom.dll, an in-process component server. It is used registered or from
// beside the program, without registration.
#include <windows.h>
// Behind windows.h.
#include <objbase.h>
#include <olectl.h>

#include <new>

#include "components/CustomClasses.h"
#include "components/Registration.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

HINSTANCE thisFile = nullptr;
LONG locks = 0;  // of the file: by factories that are alive and by LockServer

bool HasIdentifier(const CustomClass& one, REFCLSID classId) {
    CLSID own = {};
    Text text = one.classId;
    return SUCCEEDED(::CLSIDFromString(Wide(text.data()), &own)) && ::IsEqualCLSID(own, classId);
}

class ClassFactory final : public IClassFactory {
  public:
    explicit ClassFactory(const CustomClass& made) : made_(made) { ::InterlockedIncrement(&locks); }
    virtual ~ClassFactory() { ::InterlockedDecrement(&locks); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (result == nullptr) return E_POINTER;
        const bool known = ::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IClassFactory);
        *result = known ? this : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(::InterlockedIncrement(&references_));
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG left = ::InterlockedDecrement(&references_);
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** result) override {
        if (result == nullptr) return E_POINTER;
        *result = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        LateBound* const object = made_.make();
        if (object == nullptr) return E_OUTOFMEMORY;
        const HRESULT asked = object->QueryInterface(iid, result);
        object->Release();
        return asked;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        if (lock != FALSE) {
            ::InterlockedIncrement(&locks);
        } else {
            ::InterlockedDecrement(&locks);
        }
        return S_OK;
    }

  private:
    const CustomClass& made_;
    LONG references_ = 1;
};

Text PathOfThisFile() {
    return ReadText(
        [](wchar_t* buffer, DWORD size) { return ::GetModuleFileNameW(thisFile, buffer, size); },
        [](char* buffer, DWORD size) { return ::GetModuleFileNameA(thisFile, buffer, size); });
}

/// Runs a step for every class; a failure doesn't keep the others from their turn.
template <class Step>
HRESULT ForEachClass(Step step) {
    HRESULT outcome = S_OK;
    for (const CustomClass& one : CustomClasses()) {
        const Status done = step(one);
        if (!done.IsOk()) outcome = HRESULT_FROM_WIN32(done.code);
    }
    return outcome;
}

}  // namespace
}  // namespace bkfd

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        bkfd::thisFile = instance;
        ::DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** result) {
    if (result == nullptr) return E_POINTER;
    *result = nullptr;
    for (const bkfd::CustomClass& one : bkfd::CustomClasses()) {
        if (!bkfd::HasIdentifier(one, classId)) continue;
        bkfd::ClassFactory* const factory = new (std::nothrow) bkfd::ClassFactory(one);
        if (factory == nullptr) return E_OUTOFMEMORY;
        const HRESULT asked = factory->QueryInterface(iid, result);
        factory->Release();
        return asked;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return bkfd::ObjectsAlive() == 0 && bkfd::locks == 0 ? S_OK : S_FALSE;
}

/// The class identifier behind a programmatic identifier, so that the file can be used without
/// registration by whoever knows the name alone.
STDAPI DllClassFromProgId(const wchar_t* progId, CLSID* classId) {
    if (progId == nullptr || classId == nullptr) return E_POINTER;
    for (const bkfd::CustomClass& one : bkfd::CustomClasses()) {
        if (one.progId == nullptr || _wcsicmp(bkfd::Wide(one.progId), progId) != 0) continue;
        bkfd::Text text = one.classId;
        return ::CLSIDFromString(bkfd::Wide(text.data()), classId);
    }
    return CO_E_CLASSSTRING;
}

STDAPI DllRegisterServer() {
    try {
        const bkfd::Text path = bkfd::PathOfThisFile();
        return bkfd::ForEachClass(
            [&](const bkfd::CustomClass& one) { return bkfd::RegisterClass(one, path); });
    } catch (...) {
        return SELFREG_E_CLASS;
    }
}

STDAPI DllUnregisterServer() {
    try {
        return bkfd::ForEachClass(bkfd::UnregisterClass);
    } catch (...) {
        return SELFREG_E_CLASS;
    }
}
