#include "cli/MachineSession.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>

#include "identity/ApplicationStart.h"
#include "identity/CHashier.h"
#include "platform/curl/CurlHttp.h"
#include "platform/files/HostFiles.h"
#include "platform/image/MachineImage.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/undo/UndoMachine.h"
#include "platform/witness/WitnessMachine.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"
#include "services/WindowsVersionText.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr int kSchema = 2;  // docs/schema

}  // namespace

InstalledEngine::InstalledEngine(Machine& machine, Toolkit& toolkit)
    : machineBefore_(InstallMachine(&machine)), toolkitBefore_(InstallToolkit(&toolkit)) {
    SetApplicationState();
}

InstalledEngine::~InstalledEngine() {
    gHashier.reset();
    InstallToolkit(toolkitBefore_);
    InstallMachine(machineBefore_);
}

struct MachineSession::Parts {
    Parts(std::unique_ptr<ImageMachine> loaded, Console& console, const SessionUse& use)
        : image(std::move(loaded)),
          overlay(use.isDryRun ? std::make_unique<OverlayMachine>(*image) : nullptr),
          undo(use.isDryRun ? nullptr : std::make_unique<UndoMachine>(*image, ProgramVersion())),
          witness(use.isDryRun ? static_cast<Machine&>(*overlay) : *undo),
          recorder(witness),
          toolkit(console.err, console.readKey, use.answers),
          installed(recorder, toolkit) {}

    std::unique_ptr<ImageMachine> image;
    std::unique_ptr<OverlayMachine> overlay;  // of a dry run
    std::unique_ptr<UndoMachine> undo;        // of all others
    WitnessMachine witness;
    RecordingMachine recorder;
    TerminalToolkit toolkit;
    InstalledEngine installed;
};

SessionUse ChangingUse(const CommandContext& context, bool yes) {
    using Answers = TerminalToolkit::Answers;
    return {true, yes ? Answers::Yes : context.asJson ? Answers::SafeChoice : Answers::Ask};
}

MachineSession::MachineSession(CommandContext& context, SessionUse use)
    : messages_(context.console.err) {
    if (context.machine.empty()) {
        throw CommandError(
            "no machine named: --machine FOLDER says where it lies (brackenfold --help explains "
            "machine images)");
    }
    auto loaded = LoadMachineImage(context.machine);
    if (const auto* error = std::get_if<ImageError>(&loaded)) throw CommandError(error->Describe());
    parts_ = std::make_unique<Parts>(std::move(std::get<std::unique_ptr<ImageMachine>>(loaded)),
                                     context.console, use);
    if (!context.console.isInTerminal) parts_->toolkit.ReadKeysFromLines();
    parts_->toolkit.DropTypedAheadBy(context.console.dropTypedAhead);
    name_ = std::filesystem::weakly_canonical(context.machine).filename().string();
    if (!use.changes) return;
    log_->PassOnTo([&messages = messages_] { return OpenLogFiles(messages); });
}

// Without log files the work goes on, as in the Windows program.
LoggerRef MachineSession::OpenLogFiles(std::ostream& messages) {
    try {
        const LoggerRef files = MakeFileLogger();
        files->Open(ProgramFolder() + u"\\BKFD.log", ProgramFolder() + u"\\short.log");
        return files;
    } catch (const RuntimeError& error) {
        messages << "brackenfold: no log is written: " << PrintableText(error.Description())
                 << std::endl;
        return nullptr;
    }
}

// The changes are safe in the journal all the same, and the next use tries again.
MachineSession::~MachineSession() {
    const Status folded = parts_->image->Fold();
    if (folded.IsOk()) return;
    messages_ << "brackenfold: the image's files can't be written, registry.journal keeps the "
                 "changes: "
              << PrintableText(SysUtil::SystemErrorText(folded.code)) << std::endl;
}

TerminalToolkit& MachineSession::Toolkit() {
    return parts_->toolkit;
}

void MachineSession::ConnectToNetwork() {
    parts_->image->SetHttp([] {
        auto request = CurlHttp().CreateXmlHttpRequest();
        return std::move(request.value);
    });
}

std::vector<Unreadable> MachineSession::CollectUnreadable() {
    std::vector<Unreadable> unreadable;
    for (const UnreadableItem& item : parts_->witness.Unreadable()) {
        unreadable.push_back({item.kind, item.name, SysUtil::SystemErrorText(item.error)});
    }
    for (const MemoryLog::Line& line : log_->Lines()) {
        if (line.level == LogLevel::Trace) continue;
        unreadable.push_back({u"step", line.source, line.message});
    }
    return unreadable;
}

const std::vector<RecordedChange>& MachineSession::Changes() const {
    return parts_->recorder.Changes();
}

RecordId MachineSession::Record() const {
    return parts_->undo == nullptr ? 0 : parts_->undo->Record();
}

std::vector<std::string> MachineSession::Failures() const {
    std::vector<std::string> failures;
    for (const MemoryLog::Line& line : log_->Lines()) {
        if (line.level != LogLevel::Trace) failures.push_back(PrintableText(line.message));
    }
    return failures;
}

Text MachineSession::WindowsText() const {
    return ReadWindowsVersion().text;
}

Json MachineSession::NewDocument() const {
    return {{"schema", kSchema},
            {"machine",
             {{"kind", "image"},
              {"name", TextToJson(FromHostName(name_))},
              {"windows", TextToJson(WindowsText())},
              {"family", gIsNT ? "nt" : "9x"},
              {"users", Json::array()}}}};
}

Json NewHostDocument() {
    return {{"schema", kSchema}, {"machine", nullptr}};
}

Json UnreadableToJson(const std::vector<Unreadable>& unreadable) {
    Json list = Json::array();
    for (const Unreadable& entry : unreadable) {
        list.push_back({{"kind", TextToJson(entry.kind)},
                        {"name", TextToJson(entry.name)},
                        {"error", TextToJson(entry.error)}});
    }
    return list;
}

void PrintUnreadable(Console& console, const std::vector<Unreadable>& unreadable) {
    for (const Unreadable& entry : unreadable) {
        console.err << "brackenfold: could not read " << PrintableText(entry.kind) << " "
                    << PrintableText(entry.name) << ": " << PrintableText(entry.error) << '\n';
    }
}

int ExitCodeOf(const std::vector<Unreadable>& unreadable) {
    const bool isIncomplete =
        std::any_of(unreadable.begin(), unreadable.end(),
                    [](const Unreadable& entry) { return entry.MakesIncomplete(); });
    return isIncomplete ? ExitCode::Incomplete : ExitCode::Done;
}

}  // namespace bkfd
