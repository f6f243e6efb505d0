#include "cli/ChangeRun.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "base/ProgramEnd.h"
#include "base/RuntimeError.h"
#include "cli/CleanText.h"
#include "panels/RegistryBackup.h"
#include "platform/undo/UndoFolder.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "ui/terminal/PrintableText.h"
#include "undo/KeptChanges.h"

namespace bkfd {

const char kChangeDocumentHelp[] =
    R"(With --json: {"record": for undo, "changes": [{"kind", "place", "before", "after", "done"}],
"ignored": as scan has them, "removedFiles": [paths], "deletedBhos": [classes], "deletedStartup": [{"key",
"valueName", "data"}], "endedProcesses": [{"id", "path"}], "changedSettings": [{"key",
"valueName", "before", "after"}], "failed": [{"kind", "name", "error"}]}. Without --yes
it changes nothing, since nobody is asked.)";

namespace {

void PrintResult(CommandContext& context, const MachineSession& session,
                 const CleanResult& result) {
    Json document = session.NewDocument();
    AddToDocument(result, document);
    PrintJson(context.console.out, document);
}

}  // namespace

void BackUpBeforeChange(const Text& user) {
    try {
        WriteRegistryBackup(ProgramFolder(), user);
    } catch (const RuntimeError& error) {
        throw CommandError("nothing was changed, since no backup could be written: " +
                           PrintableText(error.Description()));
    }
}

void ChangeRun::Declare(CommandOptions& options) {
    options.AddFlag("--yes", yes_, "Answer OK to the questions, also to the restart");
    options.AddFlag("--dry-run", isDryRun_, "Do all of it in memory only, and say what it was");
}

SessionUse ChangeRun::Use(const CommandContext& context) const {
    // A dry run needs nobody's consent.
    SessionUse use = ChangingUse(context, yes_ || isDryRun_);
    use.isDryRun = isDryRun_;
    return use;
}

int ChangeRun::Run(CommandContext& context, MachineSession& session, StringId question,
                   const char* done, const std::function<bool(ExpectedChanges&)>& work,
                   const std::function<void(CleanResult&)>& finish) const {
    const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
    bool isWanted = isDryRun_ || ShowMessage(ResourceString(question), style) == MessageResult::Ok;
    ExpectedChanges expected;
    try {
        isWanted = isWanted && work(expected);
    } catch (const ProgramEnd&) {
        // With the restart the program's work is done; what it did is still to be told.
    }
    if (!isWanted) {
        if (context.asJson) PrintResult(context, session, {});
        context.console.err << "brackenfold: nothing was changed" << std::endl;
        return ExitCode::Failed;
    }
    session.Commit();
    CleanResult result = SummarizeChanges(session.Changes(), session.LogLines());
    result.record = session.Record();
    result.isRunning = session.IsRunning();
    expected.AddFailuresTo(result);
    // One error for all that was refused since.
    if (const Text why = WhyNotKept(); !why.empty()) {
        result.failed = {{"record", UndoFolderPath(TheMachine().System()), why}};
    }
    if (finish) finish(result);
    if (context.asJson) {
        PrintResult(context, session, result);
    } else {
        PrintClean(context.console, result, done, isDryRun_);
    }
    return result.failed.empty() ? ExitCode::Done : ExitCode::Failed;
}

}  // namespace bkfd
