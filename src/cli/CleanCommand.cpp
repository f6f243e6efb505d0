#include <algorithm>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>

#include "base/ProgramEnd.h"
#include "cli/ChangeRun.h"
#include "cli/CleanPlan.h"
#include "cli/CommandFiles.h"
#include "cli/Commands.h"
#include "cli/IgnoredThings.h"
#include "platform/undo/RecordedOperation.h"
#include "removal/CPaRemover.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kCleanHelp[] =
    R"(Deletes the registrations of parasites, disables their files by renaming them, ends the
processes that hold them, puts the browser's settings right and restarts Windows. A backup is
written first; undo takes back all but ended processes and the restart. Exit code 2 if something
could not be done, or if the answer was Cancel; 3 if something could not be read, so that parasites
may be left. On a disk or a prefix a file that has to go and can't be read stops it beforehand.
What is on the machine's ignore list (see ignore) stays.

--plan FOLDER changes nothing. It writes fix.reg, fix.bat and undo.reg, by which that machine does the
cleanup itself, with its own registry editor and command line: copy them there and run fix.bat; fix
undo takes it back. Exit code 2 if something can't be done that way.

)";

class CleanCommand final : public Command {
  public:
    const char* Name() const override { return "clean"; }
    const char* Summary() const override { return "Take all parasites out of action"; }

    void Declare(CommandOptions& options) override {
        run_.Declare(options);
        options.AddValue("--plan", "FOLDER", planFolder_,
                         "Change nothing; write files by which the machine does it itself");
        options.Explain(std::string(kCleanHelp) + kChangeDocumentHelp);
    }

    int Run(CommandContext& context) override {
        if (!planFolder_.empty()) run_.BeDryRun();
        MachineSession session(context, run_.Use(context));
        std::optional<CleanPlanner> planner;
        if (!planFolder_.empty()) {
            session.ExpectOneUser("a plan");
            planner.emplace();
        }
        // Before the question: what the list was to spare will go.
        if (const Text damage = IgnoreList::Read().Damage(); !damage.empty()) {
            context.console.err << "brackenfold: nothing is ignored: "
                                << PrintableText(IgnoreListPath() + u": " + damage) << std::endl;
        }
        std::vector<PassedOver> ignored;
        const int code = run_.Run(
            context, session, StringId::AskCleanUp, "Cleaned up",
            [&](auto& expected) {
                session.ForEachUser([&](const Text&) { expected.ExpectCleanup(); });
                if (!session.IsRunning()) RefuseUnread(session, expected);
                session.ForEachUser([&](const Text& user) { run_.BackUp(user); });
                const RecordedOperation operation(UndoOperation::kCleanUp);
                session.ForEachUser([&](const Text&) { CleanUp(session, ignored); });
                return true;
            },
            [&](CleanResult& result) {
                result.ignored = std::move(ignored);
                if (planner) WritePlan(planner->Make(session.Changes()), result);
            });
        if (code != ExitCode::Done) return code;
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        if (ExitCodeOf(unreadable) == ExitCode::Done) return code;
        PrintUnreadable(context.console, unreadable);
        return ExitCode::Incomplete;
    }

  private:
    /// A file that can't be read names no company for that reason alone. Windows itself may still
    /// read one, a disk's encrypted one is locked for good.
    static void RefuseUnread(MachineSession& session, const ExpectedChanges& expected) {
        for (const Unreadable& entry : session.CollectUnreadable()) {
            if (entry.kind != u"file" || !expected.ExpectsFile(entry.name)) continue;
            throw CommandError("nothing was changed: " + PrintableText(entry.name) +
                               " would have to go, but can't be read (" +
                               PrintableText(entry.error) +
                               "), so that nobody knows what it is; 'disable' takes it by name");
        }
    }

    /// What the cleanup in memory failed at is no matter, but for its own steps.
    void WritePlan(CleanPlan plan, CleanResult& result) const {
        std::erase_if(result.failed, [](const FailedChange& failed) {
            return failed.kind != std::string_view("step");
        });
        std::ranges::move(plan.failed, std::back_inserter(result.failed));
        if (plan.IsEmpty()) return;
        NewHostFiles files(planFolder_);
        result.plan = {files.Write("fix.bat", plan.batch), files.Write("fix.reg", plan.fix),
                       files.Write("undo.reg", plan.undo)};
        files.Keep();
    }

    /// On a machine that isn't running the restart isn't the end: the next user follows.
    static void CleanUp(const MachineSession& session, std::vector<PassedOver>& ignored) {
        CPaRemover remover;
        remover.Init(session.Log());
        bool isEnd = false;
        try {
            remover.CleanUp();
        } catch (const ProgramEnd&) {
            isEnd = session.IsRunning();
        }
        AddIgnored(ignored, remover.Ignored());
        if (isEnd) throw ProgramEnd();
    }

    std::string planFolder_;
    ChangeRun run_;
};

}  // namespace

std::unique_ptr<Command> MakeCleanCommand() {
    return std::make_unique<CleanCommand>();
}

}  // namespace bkfd
