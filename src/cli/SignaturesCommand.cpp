#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/HostSha256.h"
#include "cli/MachineSession.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kSignaturesHelp[] =
    R"(Prints a row for each file, for parasites.txt or good.txt of a folder of lists, which
--signatures FOLDER adds to the compiled ones:

  brackenfold signatures make bad.dll --source "case 17" >>lists/parasites.txt
  brackenfold --machine pc --signatures lists scan

A row has columns with tabs between: the SHA-256, or size and content hash with a blank between
them; a name; a source. Empty lines and those that begin with # count for nothing.)";

class SignaturesCommand final : public Command {
  public:
    const char* Name() const override { return "signatures"; }
    const char* Summary() const override { return "Make rows for lists of known files"; }

    void Declare(CommandOptions& options) override {
        options.AddName("make", action_, "What to do: make rows");
        options.AddNames("FILE", paths_, "Files of this computer");
        options.AddValue("--source", "TEXT", source_, "Where the files come from");
        options.Explain(kSignaturesHelp);
    }

    int Run(CommandContext& context) override {
        if (action_ != "make") throw CommandError("signatures can make rows: signatures make FILE");
        if (context.asJson) throw CommandError("signatures make prints rows, and no document");
        std::string rows;
        for (const std::string& path : paths_) {
            const auto hash = HostFileSha256(path);
            if (!hash) throw CommandError(PrintableText(FromUtf8(path)) + " can't be read");
            rows += *hash + '\t' + Column(path.substr(path.rfind('/') + 1)) + '\t' +
                    Column(source_) + '\n';
        }
        context.console.out << rows;
        return ExitCode::Done;
    }

  private:
    /// What stands between two tabs.
    static std::string Column(const std::string& text) {
        return text.empty() ? "unknown" : PrintableText(FromUtf8(text));
    }

    std::string action_;
    std::vector<std::string> paths_;
    std::string source_;
};

}  // namespace

std::unique_ptr<Command> MakeSignaturesCommand() {
    return std::make_unique<SignaturesCommand>();
}

}  // namespace bkfd
