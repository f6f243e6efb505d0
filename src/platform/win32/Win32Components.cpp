#include "platform/win32/Win32Components.h"

#include <windows.h>
// Behind windows.h.
#include <objbase.h>

#include <optional>

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "platform/win32/NativeStatus.h"
#include "platform/win32/Win32Registry.h"
#include "platform/win32/Win32SystemFacts.h"
#include "win32/ComPtr.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using ClassFromProgId = HRESULT(STDAPICALLTYPE*)(const wchar_t*, CLSID*);

template <class Function>
Function ExportOf(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

Status StatusOfResult(HRESULT result) {
    return {SUCCEEDED(result) ? SystemError::Success : static_cast<std::uint32_t>(result)};
}

/// Takes over the reference in `made`, an IUnknown, when the creation succeeded.
Result<ObjectRef> Wrap(HRESULT created, void* made) {
    if (FAILED(created)) return StatusOfResult(created);
    const ComPtr<IUnknown> unknown(static_cast<IUnknown*>(made));
    if (!unknown.IsThere()) return StatusOfResult(E_NOINTERFACE);
    try {
        return FromUnknown(unknown.Get());
    } catch (const std::bad_alloc&) {
        return StatusOfResult(E_OUTOFMEMORY);
    }
}

std::optional<CLSID> RegisteredClass(const Text& progId) {
    CLSID classId = {};
    if (progId.empty() || FAILED(::CLSIDFromProgID(Wide(progId), &classId))) return std::nullopt;
    return classId;
}

std::optional<CLSID> ParseClass(const Text& classId) {
    CLSID parsed = {};
    Text text = classId;
    if (classId.empty() || FAILED(::CLSIDFromString(Wide(text.data()), &parsed))) {
        return std::nullopt;
    }
    return parsed;
}

bool HasRegistration(const CLSID& classId) {
    wchar_t text[40] = {};
    ::StringFromGUID2(classId, text, 40);
    Win32Registry registry;
    const RegistryBase classes = {RegistryRoot::ClassesRoot, ViewOfThisProgram()};
    return registry.RegEnumKeyExW(classes, u"CLSID\\" + Text(FromWide(text, 38))).IsOk();
}

/// What an installation registered under the name goes before the identifier that we know, which is
/// an in-process class.
Result<ObjectRef> CreateRegistered(const ComponentClass& component) {
    const std::optional<CLSID> named = RegisteredClass(component.progId);
    const std::optional<CLSID> classId = named ? named : ParseClass(component.classId);
    // For a class that nobody registered the system would start its services and wait for them.
    if (!classId || !HasRegistration(*classId)) return Status{SystemError::ClassNotRegistered};
    const DWORD servers = named ? DWORD{CLSCTX_SERVER} : DWORD{CLSCTX_INPROC_SERVER};
    void* made = nullptr;
    const HRESULT created = ::CoCreateInstance(*classId, nullptr, servers, IID_IUnknown, &made);
    return Wrap(created, made);
}

Text BesideProgram(const Text& file) {
    const Text program = Win32SystemFacts().GetModuleFileNameW();
    return program.substr(0, program.rfind(u'\\') + 1) + file;
}

/// Loads a library for good: objects of it may live as long as the process. A broken one must not
/// make the system ask the user.
HMODULE LoadForGood(const Text& path) {
    const UINT before = ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    const HMODULE module = CallWithText(
        path,
        [](const wchar_t* name) {
            return ::LoadLibraryExW(name, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        },
        [](const char* name) {
            return ::LoadLibraryExA(name, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        });
    const DWORD error = ::GetLastError();
    ::SetErrorMode(before);
    ::SetLastError(error);
    return module;
}

std::optional<CLSID> ClassInFile(HMODULE module, const ComponentClass& component) {
    if (const auto known = ParseClass(component.classId)) return known;
    const auto ask = ExportOf<ClassFromProgId>(module, "DllClassFromProgId");
    CLSID classId = {};
    if (ask == nullptr || FAILED(ask(Wide(component.progId), &classId))) return std::nullopt;
    return classId;
}

Result<ObjectRef> CreateFromFile(const ComponentClass& component) {
    const HMODULE module = LoadForGood(BesideProgram(component.file));
    if (module == nullptr) return StatusOfResult(HRESULT_FROM_WIN32(::GetLastError()));
    const auto getClassObject = ExportOf<GetClassObject>(module, "DllGetClassObject");
    const std::optional<CLSID> classId = ClassInFile(module, component);
    if (getClassObject == nullptr || !classId) return Status{SystemError::ClassNotRegistered};
    void* found = nullptr;
    const HRESULT gotFactory = getClassObject(*classId, IID_IClassFactory, &found);
    if (FAILED(gotFactory)) return StatusOfResult(gotFactory);
    const ComPtr<IClassFactory> factory(static_cast<IClassFactory*>(found));
    void* made = nullptr;
    const HRESULT created = factory.Get()->CreateInstance(nullptr, IID_IUnknown, &made);
    return Wrap(created, made);
}

}  // namespace

Win32Components::Win32Components() {
    // Without COM each creation fails with its own code.
    (void)::CoInitialize(nullptr);
}

Result<ObjectRef> Win32Components::CoCreateInstance(const ComponentClass& component) {
    Result<ObjectRef> created = Status{SystemError::ClassNotRegistered};
    if (!component.progId.empty() || !component.classId.empty()) {
        created = CreateRegistered(component);
        if (created.IsOk()) return created;
        if (!component.file.empty()) created = CreateFromFile(component);
        if (created.IsOk()) return created;
    }
    const auto own = own_.find(ToLower(component.file));
    if (own == own_.end()) return created;
    try {
        return own->second();
    } catch (...) {
        return Status{static_cast<std::uint32_t>(E_OUTOFMEMORY)};
    }
}

void Win32Components::CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) {
    own_[ToLower(file)] = std::move(make);
}

Text Win32Components::CoCreateGuid() {
    GUID made = {};
    ::CoCreateGuid(&made);
    wchar_t text[40] = {};
    const int size = ::StringFromGUID2(made, text, 40);
    return Text(FromWide(text, static_cast<std::size_t>(size > 0 ? size - 1 : 0)));
}

}  // namespace bkfd
