#include "app/FMain.h"
#include "app/MMain.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"

namespace bkfd {
namespace {

class StartCommand final : public Command {
  public:
    const char* Name() const override { return "start"; }
    const char* Summary() const override { return "Run the program's whole start-up"; }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--yes", yes_, "Answer OK to every question, also to the restart");
        options.Explain(
            "Does what the Windows program does when the user starts it: opens its logs, looks "
            "for\n"
            "parasites and offers the cleanup, or finishes an earlier one, then backs up the\n"
            "registry. Questions come on the terminal; at the end of the input the answer is "
            "Cancel.");
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, {.answers = ChangingUse(context, yes_).answers});
        OfferCustomComponent();
        FMain window;
        window.Form_Initialize();
        window.Form_Load();
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
