#include "platform/win32/DynamicCall.h"

#include <windows.h>

#include <string>

namespace bkfd {
namespace {

/// From the system folder, so that no file of that name beside the program is taken for it. NT 4
/// has no psapi.dll of its own: there the one that the user put beside the program serves.
HMODULE LoadSystemLibrary(const char* library) {
    if (const HMODULE loaded = ::GetModuleHandleA(library)) return loaded;
    char folder[MAX_PATH + 1] = {};
    const UINT length = ::GetSystemDirectoryA(folder, MAX_PATH);
    if (length == 0 || length > MAX_PATH) return nullptr;
    if (const HMODULE system = ::LoadLibraryA((std::string(folder) + "\\" + library).c_str())) {
        return system;
    }
    return ::LoadLibraryA(library);
}

}  // namespace

void* FindProcedure(const char* library, const char* name) {
    const HMODULE module = LoadSystemLibrary(library);
    if (module == nullptr) return nullptr;
    return reinterpret_cast<void*>(::GetProcAddress(module, name));
}

}  // namespace bkfd
