#include "app/OtherProgram.h"

#include "platform/Machine.h"
#include "platform/undo/RecordedOperation.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "ui/Toolkit.h"

namespace bkfd {
namespace {

constexpr char16_t kToldKey[] = u"Software\\Tarnwick Labs\\Brackenfold\\Current Version";
constexpr char16_t kToldName[] = u"Told Of 64-bit Program";

}  // namespace

void TellOfOtherProgram(Logger& logger) {
    if (!TheMachine().System().IsWow64Process()) return;
    const Text message = ResourceString(StringId::OtherProgram);
    logger.Trace(message, u"FMain.Form_Initialize");
    RegistryAccess registry;
    std::int32_t isTold = 0;
    (void)registry.ReadDword(RegistryRoot::CurrentUser, kToldKey, kToldName, isTold);
    if (isTold != 0) return;
    ShowMessage(message, MessageStyle::Information);
    const RecordedOperation operation(UndoOperation::kBookkeeping);
    (void)registry.WriteDword(RegistryRoot::CurrentUser, kToldKey, kToldName, 1);
}

}  // namespace bkfd
