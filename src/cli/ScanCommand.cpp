#include <new>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/ProgressLine.h"
#include "cli/ReportPage.h"
#include "cli/ScanRecord.h"
#include "cli/ScanResult.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kScanHelp[] =
    R"(Prints the files to disable and the helper objects to delete, and why. Exit code 1 if
there are any, 3 if none was found but something could not be read. What is on the machine's ignore
list (see ignore) is told apart and doesn't count.

With --json: {"verdict": "clean", "parasites" or "incomplete",
"files": [{"path", "reasons", "places", "exists", "size", "hash", "sha256",
"company", "description"}], "bhos", "suspicious": as files, "settings",
"ignored": [{"kind", "path", "clsid", "sha256", "view", "user", "note", "date"}],
"unreadable": [{"kind", "name", "error"}]}

--record prints one line of JSON that is complete in itself, for one of many machines;
brackenfold-fleet collects such lines. Exit codes then: 0 done, whatever was found;
2 failed; 3 not all could be read; 4 something was missing for a while, try again.)";

class ScanCommand final : public Command {
  public:
    const char* Name() const override { return "scan"; }
    const char* Summary() const override { return "Say what has to go; change nothing"; }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--suspicious", wantsSuspicious_,
                        "Also list what merely looks wrong: files that name no company");
        options.AddFlag("--record", isRecord_, "Print the record of one of many machines");
        options.AddValue("--name", "NAME", record_.name,
                         "The machine's name in the record, instead of that of its folder");
        options.AddFlag("--times", record_.wantsTimes, "Also say in the record when things were");
        options.AddValue("--html", "FILE", page_,
                         "Also write a new file, a page for the browser with all that was found");
        options.Explain(kScanHelp);
    }

    int Run(CommandContext& context) override {
        if (isRecord_ && !page_.empty()) {
            throw CommandError("--record and --html don't go together");
        }
        if (isRecord_) return RunForRecord(context);
        if (!record_.name.empty() || record_.wantsTimes) {
            throw CommandError("--name and --times are for --record");
        }
        MachineSession session(context);
        const ScanResult result = [&] {
            const ProgressLine progress(context.console, "Looking for parasites");
            return Scan(session, wantsSuspicious_);
        }();
        if (!page_.empty()) {
            WriteReportPage(page_, {{"record", MakeRecord(session, result, {{}, true})}});
        }
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
    /// What failed for a cause that goes by is worth another try, anything else isn't.
    int RunForRecord(CommandContext& context) const {
        Console& console = context.console;
        const auto fail = [&](const char* why, int code) {
            console.err << "brackenfold: " << PrintableText(FromUtf8(why)) << std::endl;
            return code;
        };
        try {
            return PrintRecord(context);
        } catch (const PassingError& error) {
            return fail(error.what(), ExitCode::TryAgain);
        } catch (const CommandError& error) {
            const bool goesBy = IsShortOfResources(context.machine);
            return fail(error.what(), goesBy ? ExitCode::TryAgain : ExitCode::Failed);
        } catch (const std::bad_alloc&) {
            return fail("there is not enough memory", ExitCode::TryAgain);
        }
    }

    int PrintRecord(CommandContext& context) const {
        MachineSession session(context);
        const ScanResult result = Scan(session, wantsSuspicious_);
        PrintJsonLine(context.console.out, MakeRecord(session, result, record_));
        context.console.out.flush();
        if (!context.console.out) throw PassingError("the record could not be written");
        return ExitCodeOf(result.unreadable);
    }

    bool wantsSuspicious_ = false;
    bool isRecord_ = false;
    RecordOptions record_;
    std::string page_;
};

}  // namespace

std::unique_ptr<Command> MakeScanCommand() {
    return std::make_unique<ScanCommand>();
}

}  // namespace bkfd
