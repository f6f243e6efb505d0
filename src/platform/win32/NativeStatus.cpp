#include "platform/win32/NativeStatus.h"

#include <windows.h>

namespace bkfd {

Status LastFailure() {
    const DWORD code = ::GetLastError();
    return {code == ERROR_SUCCESS ? DWORD{ERROR_GEN_FAILURE} : code};
}

Status StatusOf(int succeeded) {
    return succeeded != 0 ? Status{} : LastFailure();
}

Status NoSuchCall() {
    return {ERROR_PROC_NOT_FOUND};
}

}  // namespace bkfd
