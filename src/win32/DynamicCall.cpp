#include "win32/DynamicCall.h"

#include <windows.h>

#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// Null where it isn't there.
HMODULE LoadSystemLibrary(const char* library) {
    const Text folder = SystemFolder();
    if (folder.empty()) return nullptr;
    return CallWithText(folder + u"\\" + FromAscii(library), ::LoadLibraryW, ::LoadLibraryA);
}

}  // namespace

Text SystemFolder() {
    return ReadText([](wchar_t* buffer, DWORD size) { return ::GetSystemDirectoryW(buffer, size); },
                    [](char* buffer, DWORD size) { return ::GetSystemDirectoryA(buffer, size); });
}

void* FindProcedure(const char* library, const char* name) {
    const HMODULE module = LoadSystemLibrary(library);
    if (module == nullptr) return nullptr;
    return reinterpret_cast<void*>(::GetProcAddress(module, name));
}

void LoadLibrariesOfTheSystemAlone() {
    constexpr DWORD kSystemFolder = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32
    const DynamicCall<BOOL(WINAPI*)(DWORD)> call("kernel32.dll", "SetDefaultDllDirectories");
    if (call.IsThere()) call(kSystemFolder);
    // The system's controls ask for it by its bare name, and take one that is there already.
    LoadSystemLibrary("uxtheme.dll");
}

}  // namespace bkfd
