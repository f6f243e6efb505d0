#include "platform/win32/ModulePaths.h"

#include <windows.h>
// Behind windows.h.
#include <winternl.h>

#include "platform/win32/DynamicCall.h"

namespace bkfd {
namespace {

constexpr int kMostModules = 10'000;            // a list that is torn may have no end
constexpr std::size_t kMostBytes = 2 * 32'767;  // of a path

template <class Item>
bool ReadItem(HANDLE process, const void* address, Item& item) {
    SIZE_T read = 0;
    return ::ReadProcessMemory(process, address, &item, sizeof item, &read) != 0 &&
           read == sizeof item;
}

/// The loader's data of the process; null if they can't be read.
PEB_LDR_DATA* FindLoaderData(HANDLE process) {
    static const DynamicCall<decltype(&::NtQueryInformationProcess)> query{
        "ntdll.dll", "NtQueryInformationProcess"};
    PROCESS_BASIC_INFORMATION basic = {};
    PEB block = {};
    if (!query.IsThere() ||
        query(process, ProcessBasicInformation, &basic, static_cast<ULONG>(sizeof basic), nullptr) <
            0 ||
        basic.PebBaseAddress == nullptr || !ReadItem(process, basic.PebBaseAddress, block)) {
        return nullptr;
    }
    return block.Ldr;
}

bool ReadPath(HANDLE process, const UNICODE_STRING& name, Text& path) {
    const std::size_t bytes = name.Length;
    if (bytes == 0 || bytes > kMostBytes) return false;
    path.resize(bytes / sizeof(char16_t));
    SIZE_T read = 0;
    return ::ReadProcessMemory(process, name.Buffer, path.data(), bytes, &read) != 0 &&
           read == bytes;
}

}  // namespace

ModulePaths ReadModulePaths(void* process) {
    ModulePaths paths;
    PEB_LDR_DATA* const loader = FindLoaderData(process);
    if (loader == nullptr) return paths;
    const LIST_ENTRY* const head = &loader->InMemoryOrderModuleList;
    LIST_ENTRY link = {};
    if (!ReadItem(process, head, link)) return paths;
    for (int i = 0; i < kMostModules && link.Flink != head; ++i) {
        LDR_DATA_TABLE_ENTRY module = {};
        if (!ReadItem(process,
                      CONTAINING_RECORD(link.Flink, LDR_DATA_TABLE_ENTRY, InMemoryOrderLinks),
                      module)) {
            break;
        }
        Text path;
        if (ReadPath(process, module.FullDllName, path)) {
            paths.emplace(static_cast<HMODULE>(module.DllBase), std::move(path));
        }
        link = module.InMemoryOrderLinks;
    }
    return paths;
}

}  // namespace bkfd
