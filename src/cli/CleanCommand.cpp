#include <string>

#include "cli/ChangeRun.h"
#include "cli/Commands.h"
#include "removal/CPaRemover.h"

namespace bkfd {
namespace {

constexpr char kCleanHelp[] =
    R"(Deletes the registrations of parasites, disables their files by renaming them, ends the
processes that hold them, puts the browser's settings right and restarts Windows. A backup is
written first; undo takes back all but ended processes and the restart. Exit code 2 if something
could not be done, or if the answer was Cancel; 3 if something could not be read, so that parasites
may be left.

)";

class CleanCommand final : public Command {
  public:
    const char* Name() const override { return "clean"; }
    const char* Summary() const override { return "Take all parasites out of action"; }

    void Declare(CommandOptions& options) override {
        run_.Declare(options);
        options.Explain(std::string(kCleanHelp) + kChangeDocumentHelp);
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, run_.Use(context));
        const int code =
            run_.Run(context, session, StringId::AskCleanUp, "Cleaned up", [&](auto& expected) {
                expected.ExpectCleanup();
                run_.BackUp();
                CPaRemover remover;
                remover.Init(session.Log());
                remover.CleanUp();
                return true;
            });
        if (code != ExitCode::Done) return code;
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        if (ExitCodeOf(unreadable) == ExitCode::Done) return code;
        PrintUnreadable(context.console, unreadable);
        return ExitCode::Incomplete;
    }

  private:
    ChangeRun run_;
};

}  // namespace

std::unique_ptr<Command> MakeCleanCommand() {
    return std::make_unique<CleanCommand>();
}

}  // namespace bkfd
