#include <istream>
#include <ostream>

#include "app/FMain.h"
#include "app/MMain.h"
#include "base/ProgramEnd.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "platform/forward/ForwardMachine.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kStartHelp[] =
    R"(Does what the Windows program does when the user starts it: opens its logs, looks for
parasites and offers the cleanup, or finishes an earlier one, backs up the registry and shows
its windows, which take typed commands (help lists them). The end of the input is Cancel for
a question and the end for a window.)";

/// A machine in files opens no other windows: what would come up on Windows is told instead.
class TellingMachine final : public ForwardMachine {
  public:
    TellingMachine(Machine& target, std::ostream& messages)
        : ForwardMachine(target, OpenGate()), shell_(target, messages) {
        InstallMachine(this);
    }
    ~TellingMachine() override { InstallMachine(&shell_.machine); }
    TellingMachine(const TellingMachine&) = delete;
    TellingMachine& operator=(const TellingMachine&) = delete;

    Shell& ShellCommands() override { return shell_; }

  private:
    struct TellingShell final : Shell {
        TellingShell(Machine& target, std::ostream& out) : machine(target), messages(out) {}

        Status ShellExecuteA(std::string_view verb, std::string_view file) override {
            Tell(FromAscii(verb), machine.System().MultiByteToWideChar(file));
            return machine.ShellCommands().ShellExecuteA(verb, file);
        }
        Status ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                               std::uintptr_t window) override {
            Tell(verb, file);
            return machine.ShellCommands().ShellExecuteExW(verb, file, mask, window);
        }
        Status WinExec(TextView commandLine) override {
            Tell(u"run", commandLine);
            return machine.ShellCommands().WinExec(commandLine);
        }
        void Tell(TextView verb, TextView what) {
            messages << "  (on Windows: " << PrintableText(verb) << " " << PrintableText(what)
                     << ")" << std::endl;
        }

        Machine& machine;
        std::ostream& messages;
    };

    TellingShell shell_;
};

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
        options.Explain(kStartHelp);
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
        const TellingMachine telling(TheMachine(), context.console.err);
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
