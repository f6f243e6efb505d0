#pragma once

#include <windows.h>

#include "win32/Owned.h"

// An owning type for each kind of handle, since each kind has its own way to be closed and its own
// value for "none".
namespace bkfd {

struct FileTraits {
    using Type = HANDLE;
    static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(HANDLE file) { ::CloseHandle(file); }
};
using OwnedFile = Owned<FileTraits>;

struct KeyTraits {
    using Type = HKEY;
    static HKEY Invalid() { return nullptr; }
    static void Close(HKEY key) { ::RegCloseKey(key); }
};
using OwnedKey = Owned<KeyTraits>;

struct GlobalMemoryTraits {
    using Type = HGLOBAL;
    static HGLOBAL Invalid() { return nullptr; }
    static void Close(HGLOBAL memory) { ::GlobalFree(memory); }
};
using OwnedGlobalMemory = Owned<GlobalMemoryTraits>;

}  // namespace bkfd
