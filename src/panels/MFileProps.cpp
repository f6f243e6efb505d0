#include "panels/MFileProps.h"

#include "platform/Machine.h"

namespace bkfd {
namespace {

// SEE_MASK_INVOKEIDLIST, SEE_MASK_NOCLOSEPROCESS and SEE_MASK_FLAG_NO_UI.
constexpr std::uint32_t kMask = 1100;

}  // namespace

bool ShowFileProperties(const Text& fileName) {
    return TheMachine().ShellCommands().ShellExecuteExW(u"properties", fileName, kMask).IsOk();
}

}  // namespace bkfd
