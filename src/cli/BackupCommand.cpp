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
            "program, on the machine, and prints its name there; of a volume one for each user.\n\n"
            "With --json: {\"file\", \"files\": [the same, of all users]}.");
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, {.changes = true});
        std::vector<Text> files;
        session.ForEachUser(
            [&](const Text& user) { files.push_back(WriteRegistryBackup(ProgramFolder(), user)); });
        if (context.asJson) {
            Json document = session.NewDocument();
            document["file"] = TextToJson(files.front());
            for (const Text& file : files) document["files"].push_back(TextToJson(file));
            PrintJson(context.console.out, document);
        } else {
            for (const Text& file : files) context.console.out << PrintableText(file) << '\n';
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
