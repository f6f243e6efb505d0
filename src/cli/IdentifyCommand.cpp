#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "detection/CPaDetector.h"
#include "identity/CHashier.h"
#include "platform/files/HostFiles.h"
#include "platform/host/HostMachine.h"
#include "services/SysUtil.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

struct Judgment {
    const char* member;  // in the document
    const char* label;
    bool (CPaDetector::*judge)(const Text& file);
};
constexpr Judgment kJudgments[] = {
    {"good", "known good", &CPaDetector::IsGoodRunningModule},
    {"suspicious", "suspicious", &CPaDetector::IsSuspiciousRunningModule},
    {"parasite", "parasite", &CPaDetector::IsParasiteRunningModule},
    {"suspiciousBho", "suspicious as a helper object", &CPaDetector::IsSuspiciousBHO},
    {"parasiteBho", "parasite as a helper object", &CPaDetector::IsParasiteBHO},
};

struct NamedFile {
    Text name;          // for the engine
    std::string shown;  // as the user wrote it
};

struct Identity {
    std::string path;
    std::int32_t size = 0;
    std::int32_t hash = 0;
    Text manufacturer;
    Text description;
    std::vector<bool> judgments;  // in the order of kJudgments
};

Identity Identify(const NamedFile& file, const LoggerRef& logger) {
    Identity identity;
    identity.path = file.shown;
    identity.hash = gHashier->HashFromFullFileName(file.name, identity.size);
    CFileInfoManager information;
    information.Init(logger);
    information.GetFileInfo(file.name, identity.manufacturer, identity.description);
    CPaDetector detector;
    detector.Init(logger, nullptr);
    for (const Judgment& judgment : kJudgments) {
        identity.judgments.push_back((detector.*judgment.judge)(file.name));
    }
    return identity;
}

Json IdentityToJson(const Identity& identity) {
    Json object = {{"path", TextToJson(FromHostName(identity.path))},
                   {"size", identity.size},
                   {"hash", identity.hash},
                   {"manufacturer", TextToJson(identity.manufacturer)},
                   {"description", TextToJson(identity.description)}};
    for (std::size_t i = 0; i < std::size(kJudgments); ++i) {
        object[kJudgments[i].member] = static_cast<bool>(identity.judgments[i]);
    }
    return object;
}

std::string JudgmentText(const Identity& identity) {
    std::string text;
    for (std::size_t i = 0; i < std::size(kJudgments); ++i) {
        if (identity.judgments[i]) {
            text += (text.empty() ? "" : ", ") + std::string(kJudgments[i].label);
        }
    }
    return text.empty() ? "nothing against it" : text;
}

void PrintIdentity(const Console& console, const Identity& identity) {
    const auto orNone = [](const Text& text) {
        return text.empty() ? std::string("(none)") : PrintableText(text);
    };
    console.out << console.Bold(PrintableText(FromUtf8(identity.path))) << '\n'
                << "  size          " << identity.size << '\n'
                << "  hash          " << identity.hash << '\n'
                << "  manufacturer  " << orNone(identity.manufacturer) << '\n'
                << "  description   " << orNone(identity.description) << '\n'
                << "  judgment      " << JudgmentText(identity) << '\n';
}

/// Whether the file can be read; if not, says why and returns the exit code for it.
int CheckReadable(const NamedFile& file, Console& console) {
    Files& files = TheMachine().FileSystem();
    const auto attributes = files.GetFileAttributesW(file.name);
    const auto complain = [&](const std::string& why) {
        console.err << "brackenfold: " << PrintableText(FromUtf8(file.shown)) << ": " << why
                    << std::endl;
    };
    if (attributes.IsOk() && (attributes.value & FileAttribute::Directory) != 0) {
        complain("is a folder");
        return ExitCode::Failed;
    }
    const auto opened = files.CreateFileW(file.name, FileMode::Read);
    if (opened.IsOk()) return ExitCode::Done;
    complain(PrintableText(SysUtil::SystemErrorText(opened.code)));
    return opened.IsNotThere() ? ExitCode::Failed : ExitCode::Incomplete;
}

constexpr char kIdentifyHelp[] =
    R"(Prints size, content hash, manufacturer and description of each file and how it would be judged
as a running program or module, and as a browser helper object.

With --json: items of {"path", "size", "hash", "manufacturer", "description", "good",
"suspicious", "parasite", "suspiciousBho", "parasiteBho"}.)";

class IdentifyCommand final : public Command {
  public:
    const char* Name() const override { return "identify"; }
    const char* Summary() const override { return "Say what is known of files"; }

    void Declare(CommandOptions& options) override {
        options.AddNames("FILE", paths_, "Files of this computer; with --machine, of the machine");
        options.Explain(kIdentifyHelp);
    }

    int Run(CommandContext& context) override {
        if (context.machine.empty()) return IdentifyHostFiles(context);
        MachineSession session(context);
        std::vector<NamedFile> files;
        for (const std::string& path : paths_) files.push_back({FromUtf8(path), path});
        return IdentifyAll(context, files, session.Log(), session.NewDocument());
    }

  private:
    int IdentifyHostFiles(CommandContext& context) const {
        HostMachine machine;
        TerminalToolkit toolkit(context.console.err, context.console.readKey,
                                TerminalToolkit::Answers::SafeChoice);
        const InstalledEngine installed(machine, toolkit);
        std::unique_ptr<InstalledSignatures> added;
        if (!context.options.signatures.empty()) {
            added = std::make_unique<InstalledSignatures>(
                ReadSignatureFiles(context.options.signatures).signatures);
        }
        std::vector<NamedFile> files;
        for (const std::string& path : paths_) {
            files.push_back({machine.HostFiles().Add(path), path});
        }
        return IdentifyAll(context, files, std::make_shared<MemoryLog>(), NewHostDocument());
    }

    static int IdentifyAll(CommandContext& context, const std::vector<NamedFile>& files,
                           const LoggerRef& logger, Json document) {
        int code = ExitCode::Done;
        Json& list = document["items"] = Json::array();
        for (const NamedFile& file : files) {
            const int problem = CheckReadable(file, context.console);
            if (problem != ExitCode::Done) {
                if (code != ExitCode::Failed) code = problem;
                continue;
            }
            const Identity identity = Identify(file, logger);
            if (context.asJson) {
                list.push_back(IdentityToJson(identity));
            } else {
                PrintIdentity(context.console, identity);
            }
        }
        if (context.asJson) PrintJson(context.console.out, document);
        return code;
    }

    std::vector<std::string> paths_;
};

}  // namespace

std::unique_ptr<Command> MakeIdentifyCommand() {
    return std::make_unique<IdentifyCommand>();
}

}  // namespace bkfd
