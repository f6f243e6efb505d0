#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "panels/RegistryBackup.h"
#include "services/ApplicationState.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

class BackupCommand final : public Command {
  public:
    const char* Name() const override { return "backup"; }
    const char* Summary() const override {
        return "Save what a cleanup may change in the registry";
    }

    void Declare(CommandOptions& options) override {
        options.Explain(
            "Writes a file that the registry editor can import to the Backup folder beside the\n"
            "program, inside the image, and prints its name there.\n\n"
            "With --json: {\"file\"}.");
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, {.changes = true});
        const Text file = WriteRegistryBackup(ProgramFolder());
        if (context.asJson) {
            Json document = session.NewDocument();
            document["file"] = TextToJson(file);
            PrintJson(context.console.out, document);
        } else {
            context.console.out << PrintableText(file) << '\n';
        }
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        return ExitCodeOf(unreadable);
    }
};

}  // namespace

std::unique_ptr<Command> MakeBackupCommand() {
    return std::make_unique<BackupCommand>();
}

}  // namespace bkfd
