#include "components/CustomInit.h"

namespace bkfd {

/// Brings the library that %BKFD_TEST_LIBRARY% names into the program's own process.
HRESULT CustomInit(VARIANTARG&) {
    wchar_t path[MAX_PATH] = {};
    ::GetEnvironmentVariableW(L"BKFD_TEST_LIBRARY", path, MAX_PATH);
    return ::LoadLibraryW(path) == nullptr ? HRESULT_FROM_WIN32(::GetLastError()) : S_OK;
}

}  // namespace bkfd
