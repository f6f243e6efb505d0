#include "panels/MFileProps.h"

#include "platform/Machine.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kMask =
    ExecuteMask::InvokeIdList | ExecuteMask::NoCloseProcess | ExecuteMask::NoUserInterface;

}  // namespace

bool ShowFileProperties(const Text& fileName, std::uintptr_t windowHandle) {
    return TheMachine()
        .ShellCommands()
        .ShellExecuteExW(u"properties", fileName, kMask, windowHandle)
        .IsOk();
}

}  // namespace bkfd
