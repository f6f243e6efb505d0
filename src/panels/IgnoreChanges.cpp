#include "panels/IgnoreChanges.h"

#include "base/RuntimeError.h"
#include "ignore/MakeEntries.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

template <class Change>
void ChangeOrTell(Logger& logger, const Text& source, Change&& change) {
    try {
        std::forward<Change>(change)();
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger.Failure(error, LogLevel::WindowFailure, source);
        ShowMessage(ResourceString(StringId::CannotChangeIgnoreList) + error.Description(),
                    MessageStyle::Exclamation);
    }
}

}  // namespace

void StartIgnoring(const HelperObject& object, Logger& logger, const Text& source) {
    ChangeOrTell(logger, source,
                 [&] { (void)AddToIgnoreList({EntryOfObject(object, {})}, logger); });
}

void StopIgnoring(const Text& title, const std::vector<IgnoreEntry>& entries, Logger& logger,
                  const Text& source) {
    const Text question =
        SysUtil::FormatTemplate(ResourceString(StringId::AskStopIgnoring), {title});
    const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
    if (ShowMessage(question, style) != MessageResult::Ok) return;
    ChangeOrTell(logger, source, [&] { (void)RemoveFromIgnoreList(entries, logger); });
}

}  // namespace bkfd
