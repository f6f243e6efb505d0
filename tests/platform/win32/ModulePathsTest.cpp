// The modules of every process that may be read have the paths that psapi.dll tells.
#include <windows.h>
// Behind windows.h.
#include <psapi.h>

#include <gtest/gtest.h>

#include "platform/win32/ModulePaths.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

constexpr DWORD kAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;

template <class Item, class Call>
std::vector<Item> List(const Call& call) {
    std::vector<Item> items(4096);
    DWORD bytes = 0;
    if (call(items.data(), static_cast<DWORD>(items.size() * sizeof(Item)), &bytes) == 0) bytes = 0;
    items.resize(bytes / sizeof(Item));
    return items;
}

TEST(ModulePaths, AgreeWithPsapi) {
    std::size_t count = 0;
    for (const DWORD id : List<DWORD>(::EnumProcesses)) {
        const HANDLE process = ::OpenProcess(kAccess, FALSE, id);
        if (process == nullptr) continue;
        const ModulePaths paths = ReadModulePaths(process);
        for (const HMODULE module : List<HMODULE>([process](auto... arguments) {
                 return ::EnumProcessModules(process, arguments...);
             })) {
            wchar_t path[1024];
            const DWORD length = ::GetModuleFileNameExW(process, module, path, 1024);
            const auto found = paths.find(module);
            ASSERT_NE(found, paths.end()) << id << ' ' << ToUtf8(FromWide(path, length));
            EXPECT_EQ(found->second, FromWide(path, length)) << id;
            ++count;
        }
        ::CloseHandle(process);
    }
    EXPECT_GT(count, 20U);
    EXPECT_EQ(ReadModulePaths(nullptr), ModulePaths());
}

}  // namespace
}  // namespace bkfd
