// Stands for a file that was put beside the program under the name of one of Windows' libraries.
// While it is loaded, and for ever if it still is at the program's end, there is a mark of its own
// name with
// ".loaded" behind it. (Wine loads and drops such a file before the program's first line.)
#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE file, DWORD reason, void* processEnds) {
    char path[MAX_PATH + 1] = {};
    ::GetModuleFileNameA(file, path, MAX_PATH);
    const std::string mark = std::string(path) + ".loaded";
    if (reason == DLL_PROCESS_ATTACH) {
        ::CloseHandle(
            ::CreateFileA(mark.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    }
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) ::DeleteFileA(mark.c_str());
    return TRUE;
}
