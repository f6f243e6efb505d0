#include "detection/MFileEnum.h"

#include "platform/Machine.h"

namespace bkfd {

std::int32_t GetFileSizeLow(const Text& path) {
    Machine& machine = TheMachine();
    FindData data;
    const Handle search =
        machine.FileSystem().FindFirstFileA(machine.System().WideCharToMultiByte(path), data);
    if (search == kInvalidHandle) return 0;
    // Closed twice over, on purpose: the second closing reports a bad handle, which is ignored.
    (void)machine.FileSystem().FindClose(search);
    (void)machine.ProcessTable().CloseHandle(search);
    return static_cast<std::int32_t>(data.sizeLow);
}

}  // namespace bkfd
