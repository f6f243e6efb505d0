#include <malloc.h>

#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/CommandFiles.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/ProgressLine.h"
#include "cli/ReportRequest.h"
#include "cli/ReportText.h"
#include "resources/BuildSettings.h"
#include "resources/StringTable.h"
#include "services/FileUtil.h"
#include "support/cl.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

const std::string kHelpBegin =
    R"(Gathers what the support staff need to judge the machine and posts it to
  )";
constexpr char kHelpEnd[] =
    R"(
What of name, address and description isn't given is asked for. The report holds these, the
versions of Windows and of the browser, the suspicious files, the security zones, the hosts file,
the program's log, and the processes and files that aren't known to be harmless; --show prints all
of it, entry by entry. The variable http_proxy names a proxy.

Sending leaves the report in the machine's temporary folder, as the Windows program does; --show
and --out leave the machine as it is. Exit code 3 if something of the machine could not be read.

With --json: {"sent": address, "unreadable": [...]}; with --out {"envelope", "archive",
"unreadable"}; with --show {"category", "entries": [{"name", "content"}], "unreadable"}.)";

const Text kSource = u"ReportCommand.Run";

/// The report as the support side will read it.
DecodedReport Preview(ValueBag& report) {
    const Text envelope = MakeEnvelope(Text(kSupportCategory), {}, report);
    auto decoded = DecodeReport(ToBytes(envelope), kNoReportLimit);
    if (const auto* error = std::get_if<std::string>(&decoded)) throw CommandError(*error);
    return std::get<DecodedReport>(std::move(decoded));
}

/// Where the two files of `--out` go.
struct OutputNames {
    std::string folder;
    std::string envelope;
    std::string archive;
};

/// An ending that one of the two files gets is taken off the name first.
OutputNames NamesFor(std::string path) {
    for (const char* ending : {".xml", ".zip"}) {
        if (path.ends_with(ending)) path.erase(path.size() - 4);
    }
    const std::size_t cut = path.rfind('/') + 1;
    const std::string name = path.substr(cut);
    if (name.empty()) throw CommandError("--out names no file: " + path);
    return {path.substr(0, cut), name + ".xml", name + ".zip"};
}

class ReportCommand final : public Command {
  public:
    const char* Name() const override { return "report"; }
    const char* Summary() const override { return "Send the support report, or show it"; }

    void Declare(CommandOptions& options) override {
        options.AddValue("--name", "NAME", options_.name, "Your name");
        options.AddValue("--email", "ADDRESS", options_.email, "Your e-mail address");
        options.AddValue("--text", "FILE", options_.textFile,
                         "Description of the problem, in UTF-8; - for standard input");
        options.AddFlag("--show", isShown_, "Send nothing; print what would be sent");
        options.AddValue("--out", "FILE", out_,
                         "Send nothing; write the envelope to FILE.xml, the archive to FILE.zip");
        options.Explain(kHelpBegin + ToUtf8(BuildSettings::SupportEndpoint) + kHelpEnd);
    }

    int Run(CommandContext& context) override {
        if (isShown_ && !out_.empty()) throw CommandError("--show and --out exclude each other");
        const bool isSent = !isShown_ && out_.empty();
        const OutputNames names = out_.empty() ? OutputNames{} : NamesFor(out_);
        SessionUse use = ChangingUse(context, false);
        use.isDryRun = !isSent;
        MachineSession session(context, use);
        session.ExpectOneUser("a report");
        SupportRequest request = RequestFrom(options_, context.console);
        if (!isShown_) {
            if (!context.asJson) AskForMissing(request, context.console);
            CheckComplete(request);
        }

        ValueBag report;
        {
            const ProgressLine progress(context.console, "Gathering the report");
            Gather(request, session.Log(), report);
            malloc_trim(0);  // what the gathering left free, before the large texts are built
        }
        Json document = session.NewDocument();
        document.update(isShown_        ? Show(context, report)
                        : !out_.empty() ? Write(context, std::move(report), names)
                                        : Send(context, session, report));
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        if (context.asJson) {
            document["unreadable"] = UnreadableToJson(unreadable);
            PrintJson(context.console.out, document);
        } else {
            PrintUnreadable(context.console, unreadable);
        }
        return ExitCodeOf(unreadable);
    }

  private:
    /// A failure ends the command, and the log tells of it as of a refused report.
    static void Gather(const SupportRequest& request, const LoggerRef& logger, ValueBag& report) {
        try {
            GatherReport(request, logger, report);
        } catch (const RuntimeError& error) {
            logger->Failure(error, LogLevel::WindowFailure, kSource);
            throw;
        }
    }

    static Json Show(CommandContext& context, ValueBag& report) {
        const DecodedReport decoded = Preview(report);
        if (!context.asJson) {
            context.console.out << "What would go to " << ToUtf8(BuildSettings::SupportEndpoint)
                                << " as " << PrintableText(decoded.category) << ":\n";
            PrintReport(context.console, decoded);
        }
        return {{"category", TextToJson(decoded.category)}, {"entries", EntriesToJson(decoded)}};
    }

    /// The values go as soon as the envelope holds them.
    static Text Wrap(ValueBag values, const PackedReport& report) {
        return MakeEnvelope(report.category, report.id, values);
    }

    static PackedReport Pack(ValueBag report) {
        PackedReport packed;
        NameReport(Text(kSupportCategory), packed);
        const Text envelope = Wrap(std::move(report), packed);
        PackEnvelope(envelope, packed);
        return packed;
    }

    static Json Write(CommandContext& context, ValueBag report, const OutputNames& names) {
        const PackedReport packed = Pack(std::move(report));
        NewHostFiles files(names.folder);
        const std::string envelopeFile =
            files.Write(names.envelope, FileUtil::ReadBinaryFile(packed.envelopeFile));
        const std::string archiveFile =
            files.Write(names.archive, FileUtil::ReadBinaryFile(packed.archiveFile));
        files.Keep();
        if (!context.asJson) {
            context.console.out << PrintableText(FromUtf8(envelopeFile)) << '\n'
                                << PrintableText(FromUtf8(archiveFile)) << '\n';
        }
        return {{"envelope", TextToJson(FromUtf8(envelopeFile))},
                {"archive", TextToJson(FromUtf8(archiveFile))}};
    }

    static Json Send(CommandContext& context, MachineSession& session, ValueBag& report) {
        session.ConnectToNetwork();
        Text errorText;
        bool success = false;
        {
            const ProgressLine progress(context.console, "Sending the report");
            cl().Do1(session.Log(), Text(kSupportCategory), report, errorText, success);
        }
        if (!success) {
            session.Log()->Write(kRequestFailed,
                                 ResourceString(StringId::CannotContact) + errorText,
                                 LogLevel::WindowFailure, kSource);
            throw CommandError(ToUtf8(ResourceString(StringId::CannotSendRequest)) + "(" +
                               PrintableText(errorText) + ")");
        }
        session.Log()->Trace(u"Requesting support", kSource);
        if (!context.asJson) {
            context.console.out << ToUtf8(ResourceString(StringId::RequestSent)) << '\n';
        }
        return {{"sent", ToUtf8(BuildSettings::SupportEndpoint)}};
    }

    RequestOptions options_;
    std::string out_;
    bool isShown_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeReportCommand() {
    return std::make_unique<ReportCommand>();
}

}  // namespace bkfd
