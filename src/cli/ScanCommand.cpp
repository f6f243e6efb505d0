#include <nlohmann/json.hpp>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/ProgressLine.h"
#include "cli/ScanResult.h"

namespace bkfd {
namespace {

constexpr char kScanHelp[] =
    R"(Prints the files to disable and the helper objects to delete, and why. Exit code 1 if
there are any, 3 if none was found but something could not be read.

With --json: {"verdict": "clean", "parasites" or "incomplete",
"files": [{"path", "reasons", "places", "exists", "size", "hash", "sha256",
"company", "description"}], "bhos", "suspicious": as files, "settings",
"unreadable": [{"kind", "name", "error"}]})";

class ScanCommand final : public Command {
  public:
    const char* Name() const override { return "scan"; }
    const char* Summary() const override { return "Say what has to go; change nothing"; }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--suspicious", wantsSuspicious_,
                        "Also list what merely looks wrong: files that name no company");
        options.Explain(kScanHelp);
    }

    int Run(CommandContext& context) override {
        MachineSession session(context);
        const ScanResult result = [&] {
            const ProgressLine progress(context.console, "Looking for parasites");
            return Scan(session, wantsSuspicious_);
        }();
        if (context.asJson) {
            Json document = session.NewDocument();
            AddToDocument(result, document);
            PrintJson(context.console.out, document);
        } else {
            PrintScan(context.console, session.WindowsText(), result);
        }
        return ExitCodeOf(result.verdict);
    }

  private:
    bool wantsSuspicious_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeScanCommand() {
    return std::make_unique<ScanCommand>();
}

}  // namespace bkfd
