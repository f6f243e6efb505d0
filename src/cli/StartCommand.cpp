#include <istream>
#include <ostream>

#include "app/FMain.h"
#include "app/MMain.h"
#include "base/ProgramEnd.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

/// The program itself goes on without a log and has no place to tell of that.
void WarnWithoutLog(Console& console) {
    const Text log = ProgramFolder() + u"\\BKFD.log";
    const auto opened = TheMachine().FileSystem().CreateFileW(log, FileMode::Append);
    if (opened.IsOk()) return;
    console.err << "brackenfold: no log is written: "
                << PrintableText(SysUtil::SystemErrorText(opened.code)) << std::endl;
}

class StartCommand final : public Command {
  public:
    const char* Name() const override { return "start"; }
    const char* Summary() const override {
        return "Run the program with its windows on the terminal";
    }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--yes", yes_, "Answer OK to every question, also to the restart");
        options.Explain(
            "Does what the Windows program does when the user starts it: opens its logs, looks "
            "for\n"
            "parasites and offers the cleanup, or finishes an earlier one, backs up the registry "
            "and shows\nits windows, which take typed commands (help lists them). The end of the "
            "input is Cancel for\na question and the end for a window.");
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, {.answers = ChangingUse(context, yes_).answers});
        session.ConnectToNetwork();
        TerminalToolkit& toolkit = session.Toolkit();
        toolkit.ReadLinesBy([&console = context.console]() -> std::optional<std::string> {
            std::string line;
            if (!std::getline(console.in, line)) return std::nullopt;
            return line;
        });
        WarnWithoutLog(context.console);
        OfferCustomComponent();
        FMain window;
        try {
            window.Form_Initialize();
        } catch (const ProgramEnd&) {
            Text message;  // which was shown, if it is a missing component that ended the program
            return CheckComponents(message) ? ExitCode::Done : ExitCode::Failed;
        }
        window.Show();
        toolkit.Run();
        return ExitCode::Done;
    }

  private:
    bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeStartCommand() {
    return std::make_unique<StartCommand>();
}

}  // namespace bkfd
