#include <nlohmann/json.hpp>
#include <ostream>

#include "base/ProgramEnd.h"
#include "cli/CleanText.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "removal/CPaRemover.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"

namespace bkfd {
namespace {

constexpr int kReallyCleanUp = 155;

class CleanCommand final : public Command {
  public:
    const char* Name() const override { return "clean"; }
    const char* Summary() const override { return "Take all parasites out of action"; }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--yes", yes_, "Answer OK to the questions, also to the restart");
        options.AddFlag("--dry-run", isDryRun_, "Do all of it in memory only, and say what it was");
        options.Explain(
            "Deletes the registrations of parasites, disables their files by renaming them, ends "
            "the\nprocesses that hold them, puts the browser's settings right and restarts "
            "Windows.\nDisabled files can get their names back with restore. Exit code 2 if "
            "something could not\nbe done, or if the answer was Cancel.\n\n"
            "With --json: {\"removedFiles\": [paths], \"deletedBhos\": [classes], "
            "\"deletedStartup\": [{\"key\",\n\"valueName\", \"data\"}], \"endedProcesses\": "
            "[{\"id\", \"path\"}], \"changedSettings\": [{\"key\",\n\"valueName\", \"before\", "
            "\"after\"}], \"failed\": [{\"kind\", \"name\", \"error\"}]}. Without --yes\nit "
            "changes nothing, since nobody is asked.");
    }

    int Run(CommandContext& context) override {
        // A dry run needs nobody's consent.
        SessionUse use = ChangingUse(context, yes_ || isDryRun_);
        use.isDryRun = isDryRun_;
        MachineSession session(context, use);
        if (!isDryRun_ && !IsWanted()) {
            context.console.err << "brackenfold: nothing was changed" << std::endl;
            return ExitCode::Failed;
        }
        CleanUp(session);
        const CleanResult result = SummarizeChanges(session.Changes(), session.LogLines());
        if (context.asJson) {
            PrintJson(context.console.out, CleanToJson(result));
        } else {
            PrintClean(context.console, result, isDryRun_);
        }
        return result.failed.empty() ? ExitCode::Done : ExitCode::Failed;
    }

  private:
    static bool IsWanted() {
        return ShowMessage(ResourceString(kReallyCleanUp),
                           MessageStyle::Exclamation | MessageStyle::OkCancel) == MessageResult::Ok;
    }

    static void CleanUp(MachineSession& session) {
        CPaRemover remover;
        remover.Init(session.Log());
        try {
            remover.CleanUp();
        } catch (const ProgramEnd&) {
            // With the restart the program's work is done; what it did is still to be told.
        }
    }

    bool yes_ = false;
    bool isDryRun_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeCleanCommand() {
    return std::make_unique<CleanCommand>();
}

}  // namespace bkfd
