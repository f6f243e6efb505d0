#include "platform/win32/ModulePaths.h"

#include <windows.h>
// Behind windows.h.
#include <winternl.h>

#include "win32/DynamicCall.h"

namespace bkfd {
namespace {

constexpr int kMostModules = 10'000;            // a list that is torn may have no end
constexpr std::size_t kMostBytes = 2 * 32'767;  // of a path

struct Calls {
    DynamicCall<decltype(&::NtQueryInformationProcess)> query{"ntdll.dll",
                                                              "NtQueryInformationProcess"};
    DynamicCall<decltype(&::ReadProcessMemory)> read{"kernel32.dll", "ReadProcessMemory"};

    static const Calls& Get() {
        static const Calls calls;
        return calls;
    }
};

bool ReadBytes(HANDLE process, const void* address, void* bytes, std::size_t count) {
    const auto& call = Calls::Get().read;
    SIZE_T read = 0;
    return call.IsThere() && call(process, address, bytes, count, &read) != 0 && read == count;
}

template <class Item>
bool ReadItem(HANDLE process, const void* address, Item& item) {
    return ReadBytes(process, address, &item, sizeof item);
}

/// The loader's data of the process; null if they can't be read.
PEB_LDR_DATA* FindLoaderData(HANDLE process) {
    const auto& query = Calls::Get().query;
    PROCESS_BASIC_INFORMATION basic = {};
    const auto size = static_cast<ULONG>(sizeof basic);
    if (!query.IsThere() || query(process, ProcessBasicInformation, &basic, size, nullptr) < 0) {
        return nullptr;
    }
    PEB block = {};
    return ReadItem(process, basic.PebBaseAddress, block) ? block.Ldr : nullptr;
}

bool ReadPath(HANDLE process, const UNICODE_STRING& name, Text& path) {
    const std::size_t bytes = name.Length;
    if (bytes == 0 || bytes > kMostBytes) return false;
    path.resize(bytes / sizeof(char16_t));
    return ReadBytes(process, name.Buffer, path.data(), path.size() * sizeof(char16_t));
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
