#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "cli/CommandFiles.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/decode/ReportDecoder.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kDecodeHelp[] =
    R"(Writes each entry of the report to a file of its own and prints their names: XML documents
indented, in UTF-8; what the user wrote, in UTF-8; ZoneMap.reg, Hosts and the logs byte for
byte. A file that is there already is never overwritten. Exit code 3 if an entry is damaged, which
is left as it came then, or if something of the report is in no file; what it is goes to standard
error.

--list prints below each file's name the text that stands for it: sent to the user, copied and
pasted into the Safe Remover, it becomes the name again, whatever characters that holds.

With --json: {"category", "id", "files": [{"file", "size"}], "problems": [...]}, and with --list
items of {"path", "encoded"}.)";

/// Bytes of "--limit MIB"; the usual limit if it isn't given.
std::size_t LimitOf(const std::string& mebibytes) {
    constexpr std::size_t kMost = 1U << 20;
    if (mebibytes.empty()) return kUsualReportLimit;
    std::size_t number = 0;
    const char* const end = mebibytes.data() + mebibytes.size();
    const auto parsed = std::from_chars(mebibytes.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end || number == 0 || number > kMost) {
        throw CommandError("--limit takes a number of MiB, 1 or more: " + mebibytes);
    }
    return number << 20;
}

DecodedReport Decode(const std::string& path, Console& console, std::size_t limit,
                     const DecodedFileSink& sink) {
    auto decoded = DecodeReport(ReadInput(path, console.in), limit, sink);
    if (const auto* error = std::get_if<std::string>(&decoded)) {
        throw CommandError(PrintableText(FromUtf8(path)) + ": " + PrintableText(FromUtf8(*error)));
    }
    return std::get<DecodedReport>(std::move(decoded));
}

/// The suspicious files, as the Safe Remover of the user's machine takes them.
void PrintForPaste(CommandContext& context, const std::vector<Text>& paths) {
    Json document = NewHostDocument();
    Json& list = document["items"] = Json::array();
    for (const Text& path : paths) {
        const std::string encoded = ToUtf8(EncodeForPaste(path));
        if (context.asJson) {
            list.push_back({{"path", TextToJson(path)}, {"encoded", encoded}});
        } else {
            context.console.out << context.console.Bold(PrintableText(path)) << '\n'
                                << "  " << encoded << '\n';
        }
    }
    if (context.asJson) PrintJson(context.console.out, document);
}

struct WrittenFile {
    std::string path;
    std::size_t size;
};

/// The files of a report in their folder, which is made for the first one. All or none stay.
class WrittenReport {
  public:
    explicit WrittenReport(std::string folder) : folder_(std::move(folder)) {}

    void Write(const DecodedFile& file) {
        if (!output_) output_.emplace(folder_);
        files_.push_back({output_->Write(file.name, file.content), file.content.size()});
    }
    const std::vector<WrittenFile>& Keep() {
        if (output_) output_->Keep();
        return files_;
    }

  private:
    std::string folder_;
    std::optional<NewHostFiles> output_;
    std::vector<WrittenFile> files_;
};

void PrintDocument(std::ostream& out, const DecodedReport& report,
                   const std::vector<WrittenFile>& written) {
    Json document = NewHostDocument();
    document["category"] = TextToJson(report.category);
    document["id"] = TextToJson(report.id);
    document["files"] = Json::array();
    for (const WrittenFile& file : written) {
        document["files"].push_back(
            {{"file", TextToJson(FromUtf8(file.path))}, {"size", file.size}});
    }
    document["problems"] = report.problems;
    PrintJson(out, document);
}

void PrintText(Console& console, const DecodedReport& report,
               const std::vector<WrittenFile>& written) {
    console.out << "Report " << PrintableText(report.id) << " of the kind "
                << PrintableText(report.category) << '\n';
    for (const WrittenFile& file : written) {
        console.out << "  " << PrintableText(FromUtf8(file.path)) << ", " << file.size
                    << (file.size == 1 ? " byte\n" : " bytes\n");
    }
}

void PrintProblems(Console& console, const DecodedReport& report) {
    for (const std::string& problem : report.problems) {
        console.err << "brackenfold: " << PrintableText(FromUtf8(problem)) << '\n';
    }
}

class DecodeCommand final : public Command {
  public:
    const char* Name() const override { return "decode"; }
    const char* Summary() const override { return "Turn a received report into readable files"; }

    void Declare(CommandOptions& options) override {
        options.AddName("FILE", file_, "A posted body, the archive in it or the envelope in that");
        options.AddValue("--out", "FOLDER", folder_,
                         "Where the files go; by default FILE with .decoded behind it");
        options.AddValue("--limit", "MIB", limit_,
                         "The most that all files together may take; 64 MiB if it isn't given");
        options.AddFlag("--list", wantsList_,
                        "Write nothing; print the suspicious files, encoded for the Safe Remover");
        options.Explain(kDecodeHelp);
    }

    int Run(CommandContext& context) override {
        WrittenReport output(Folder());
        const DecodedReport report =
            Decode(file_, context.console, LimitOf(limit_), [&](const DecodedFile& file) {
                if (!wantsList_) output.Write(file);
            });
        if (wantsList_) {
            PrintForPaste(context, report.suspiciousFiles);
        } else if (context.asJson) {
            PrintDocument(context.console.out, report, output.Keep());
        } else {
            PrintText(context.console, report, output.Keep());
        }
        if (wantsList_ || !context.asJson) PrintProblems(context.console, report);
        return report.problems.empty() ? ExitCode::Done : ExitCode::Incomplete;
    }

  private:
    std::string Folder() const {
        if (!folder_.empty()) return folder_;
        return file_ == "-" ? "report.decoded" : file_ + ".decoded";
    }

    std::string file_;
    std::string folder_;
    std::string limit_;
    bool wantsList_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeDecodeCommand() {
    return std::make_unique<DecodeCommand>();
}

}  // namespace bkfd
