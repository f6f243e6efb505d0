// Stands for a file that was put beside the program under the name of one of Windows' libraries.
// When it is loaded, it leaves a mark of its own name with ".loaded" behind it.
#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE file, DWORD reason, void*) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    char path[MAX_PATH + 1] = {};
    ::GetModuleFileNameA(file, path, MAX_PATH);
    const std::string mark = std::string(path) + ".loaded";
    ::CloseHandle(
        ::CreateFileA(mark.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return TRUE;
}
