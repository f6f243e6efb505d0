#include "cli/MachineSession.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>

#include "identity/ApplicationStart.h"
#include "identity/CHashier.h"
#include "ignore/PassOver.h"
#include "platform/curl/CurlHttp.h"
#include "platform/files/HostFiles.h"
#include "platform/hive/HiveStore.h"
#include "platform/image/MachineImage.h"
#include "platform/model/WindowsPath.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/undo/CommittingKeeper.h"
#include "platform/undo/UndoMachine.h"
#include "platform/user/UserMachine.h"
#include "platform/volume/VolumeMachine.h"
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

namespace {

/// A machine on which nothing runs: ending what would run, and restarting, succeed and are no
/// changes that anybody needs to hear of.
class StillMachine final : public ForwardMachine {
  public:
    StillMachine(Machine& target, Machine& model)
        : ForwardMachine(target, OpenGate()), model_(model) {}

    Processes& ProcessTable() override { return model_.ProcessTable(); }
    Restart& Session() override { return model_.Session(); }

  private:
    Machine& model_;
};

/// The machine, of one kind or the other.
struct OpenedMachine {
    std::unique_ptr<ImageMachine> image;
    std::unique_ptr<VolumeMachine> volume;

    ModelMachine& Model() const {
        return image ? static_cast<ModelMachine&>(*image) : static_cast<ModelMachine&>(*volume);
    }
};

}  // namespace

struct MachineSession::Parts {
    Parts(OpenedMachine loaded, Console& console, const SessionUse& use)
        : opened(std::move(loaded)),
          overlay(use.isDryRun ? std::make_unique<OverlayMachine>(opened.Model()) : nullptr),
          undo(use.isDryRun ? nullptr
                            : std::make_unique<UndoMachine>(opened.Model(), ProgramVersion())),
          user(use.isDryRun ? static_cast<Machine&>(*overlay) : *undo),
          witness(user),
          recorder(witness),
          still(recorder, Model()),
          toolkit(console.err, console.readKey, use.answers),
          installed(opened.volume ? static_cast<Machine&>(still) : recorder, toolkit) {}

    ModelMachine& Model() const {
        return overlay ? static_cast<ModelMachine&>(*overlay) : opened.Model();
    }

    OpenedMachine opened;
    std::unique_ptr<OverlayMachine> overlay;  // of a dry run
    std::unique_ptr<UndoMachine> undo;        // of all others
    std::optional<CommittingKeeper> keeper;   // of a volume that is changed
    UserMachine user;
    WitnessMachine witness;
    RecordingMachine recorder;
    StillMachine still;
    TerminalToolkit toolkit;
    InstalledEngine installed;
};

namespace {

DriveFolders DrivesOf(const std::vector<std::string>& given) {
    DriveFolders drives;
    for (const std::string& drive : given) {
        const char16_t letter = drive.empty() ? u'?' : ToLower(static_cast<char16_t>(drive[0]));
        const bool isDrive =
            drive.size() > 2 && drive[1] == '=' && letter >= u'a' && letter <= u'z';
        if (!isDrive) throw CommandError("--drive takes a letter and a folder, D=FOLDER: " + drive);
        const std::string folder = drive.substr(2);
        if (!std::filesystem::is_directory(folder)) {
            throw CommandError("--drive: " + folder + " is no folder that can be read");
        }
        drives[static_cast<char16_t>(letter - u'a' + u'A')] = folder;
    }
    return drives;
}

/// Empty if none is given. Not a drive's root, whose files are everybody's.
Text ProgramFolderOf(const std::string& given) {
    if (given.empty()) return {};
    auto full = WindowsPath::Full(FromUtf8(given), u"");
    while (full.value.ends_with(u'\\')) full.value.pop_back();
    if (!full.IsOk() || full.value.size() <= 3 || full.value[1] != u':') {
        throw CommandError(
            "--program-folder takes a folder as that Windows names it, C:\\FOLDER: " + given);
    }
    return full.value;
}

OpenedMachine OpenImage(const CommandContext& context) {
    if (!context.options.IsEmpty()) {
        throw CommandError(
            "a machine image tells its users, drives and folders itself: --user, --drive, "
            "--program-folder and --windows-folder are for volumes");
    }
    auto loaded = LoadMachineImage(context.machine);
    if (const auto* error = std::get_if<ImageError>(&loaded)) {
        if (error->goesBy) throw PassingError(error->Describe());
        throw CommandError(error->Describe());
    }
    return {std::move(std::get<std::unique_ptr<ImageMachine>>(loaded)), nullptr};
}

OpenedMachine OpenMachine(const CommandContext& context, const SessionUse& use) {
    const auto what = FindWindows(context.machine, context.options.windowsFolder);
    if (const auto* error = std::get_if<VolumeError>(&what)) throw CommandError(error->message);
    const FoundWindows& found = std::get<FoundWindows>(what);
    if (found.kind == VolumeKind::Image) return OpenImage(context);
    const VolumeOptions options{DrivesOf(context.options.drives), FromUtf8(context.options.user),
                                ProgramFolderOf(context.options.programFolder),
                                use.changes && !use.isDryRun, use.keepsRegistry};
    auto loaded = LoadVolume(found, options);
    if (const auto* error = std::get_if<VolumeError>(&loaded)) throw CommandError(error->message);
    return {nullptr, std::move(std::get<std::unique_ptr<VolumeMachine>>(loaded))};
}

const char* NameOf(const OpenedMachine& opened) {
    if (opened.image) return "image";
    return opened.volume->Kind() == VolumeKind::Wine ? "wine" : "volume";
}

Text ShownName(const VolumeUser& user) {
    return user.name.empty() ? user.key : user.name;
}

}  // namespace

SessionUse ChangingUse(const CommandContext& context, bool yes) {
    using Answers = TerminalToolkit::Answers;
    return {true, yes ? Answers::Yes : context.asJson ? Answers::SafeChoice : Answers::Ask};
}

MachineSession::MachineSession(CommandContext& context, SessionUse use)
    : messages_(context.console.err) {
    if (context.machine.empty()) {
        throw CommandError(
            "no machine named: --machine FOLDER says where it lies (brackenfold --help explains "
            "what it may be)");
    }
    parts_ = std::make_unique<Parts>(OpenMachine(context, use), context.console, use);
    if (!context.options.signatures.empty()) {
        SignatureFiles files = ReadSignatureFiles(context.options.signatures);
        addedLists_ = std::move(files.lists);
        signatures_ = std::make_unique<InstalledSignatures>(std::move(files.signatures));
    }
    if (parts_->opened.volume) {
        const VolumeMachine& volume = *parts_->opened.volume;
        if (parts_->undo) parts_->keeper.emplace(*parts_->undo, [this] { return TryCommit(); });
        for (const std::string& note : volume.Notes()) {
            messages_ << "brackenfold: " << PrintableText(FromHostName(note)) << std::endl;
        }
        if (!volume.Users().empty()) Become(volume.Users().front());
    }
    if (!context.console.isInTerminal) parts_->toolkit.ReadKeysFromLines();
    parts_->toolkit.DropTypedAheadBy(context.console.dropTypedAhead);
    hostFolder_ = std::filesystem::weakly_canonical(context.machine).string();
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

// The changes of an image are safe in its journal all the same, and the next use tries again.
MachineSession::~MachineSession() {
    if (parts_->opened.volume) {
        try {
            Commit();
        } catch (const CommandError& error) {
            messages_ << "brackenfold: " << error.what() << std::endl;
        }
        return;
    }
    const Status folded = parts_->opened.image->Fold();
    if (folded.IsOk()) return;
    messages_ << "brackenfold: the image's files can't be written, registry.journal keeps the "
                 "changes: "
              << PrintableText(SysUtil::SystemErrorText(folded.code)) << std::endl;
}

/// False if the registry can't be written, which `Commit` tells.
bool MachineSession::TryCommit() {
    if (!parts_->opened.volume || !failedCommit_.empty()) return failedCommit_.empty();
    if (const auto error = parts_->opened.volume->Commit(Record())) failedCommit_ = error->message;
    return failedCommit_.empty();
}

void MachineSession::Commit() {
    if (TryCommit() || std::exchange(isCommitFailureTold_, true)) return;
    throw CommandError("the registry could not be written: " + failedCommit_);
}

void MachineSession::Become(const VolumeUser& user) {
    parts_->opened.volume->ChooseUser(user, parts_->Model());
    turns_.push_back({parts_->recorder.Changes().size(), user.key});
    parts_->user.SetUser(user.key, parts_->Model().Facts().HasUserClasses());
}

void MachineSession::ForEachUser(const std::function<void(const Text& user)>& work) {
    if (!parts_->opened.volume || parts_->opened.volume->Users().empty()) {
        work({});
        return;
    }
    for (const VolumeUser& user : parts_->opened.volume->Users()) {
        Become(user);
        work(ShownName(user));
    }
}

void MachineSession::ExpectOneUser(const std::string& what) const {
    if (!parts_->opened.volume || parts_->opened.volume->Users().size() < 2) return;
    throw CommandError(what + " is for one user: --user NAME says for which");
}

bool MachineSession::IsRunning() const {
    return parts_->opened.image != nullptr;
}

std::vector<StartPlace> MachineSession::StartPlaces() const {
    if (!parts_->opened.volume) return {};
    return parts_->opened.volume->StartPlaces();
}

std::vector<SignatureListInfo> MachineSession::SignatureLists() const {
    std::vector<SignatureListInfo> lists = {BuiltInSignatures()};
    lists.insert(lists.end(), addedLists_.begin(), addedLists_.end());
    return lists;
}

const KnownFiles::Row* MachineSession::KnownParasite(std::int32_t size, std::int32_t hash,
                                                     const std::string& sha256) const {
    if (signatures_ == nullptr) return nullptr;
    return signatures_->Lists().parasites.Find(size, hash, sha256);
}

std::optional<std::int64_t> MachineSession::KeyLastWritten(RegistryRoot root, const Text& key,
                                                           const Text& user) const {
    if (!parts_->opened.volume) return std::nullopt;
    const VolumeMachine& volume = *parts_->opened.volume;
    Text path = key;
    if (root == RegistryRoot::CurrentUser) {
        const auto owner = std::ranges::find(volume.Users(), user, ShownName);
        if (owner == volume.Users().end()) return std::nullopt;
        root = RegistryRoot::Users;
        path = KeyBelow(owner->key, key);
    }
    const auto time = volume.KeyLastWritten(root, path);
    if (!time.IsOk() || time.value == 0) return std::nullopt;
    return UnixTimeOf(time.value);
}

std::vector<std::string> MachineSession::RegistryFiles() const {
    if (parts_->opened.volume) return parts_->opened.volume->RegistryFiles();
    std::vector<std::string> files = {hostFolder_ + "/machine.json"};
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::directory_iterator(hostFolder_ + "/registry", ignored)) {
        files.push_back(entry.path().string());
    }
    const std::string journal = hostFolder_ + "/registry.journal";
    if (std::filesystem::exists(journal, ignored)) files.push_back(journal);
    return files;
}

std::optional<std::string> MachineSession::HostPath(const Text& path) const {
    const auto host = parts_->opened.volume ? parts_->opened.volume->HostPath(path)
                                            : parts_->opened.image->HostPath(path);
    if (!host.IsOk()) return std::nullopt;
    return host.value;
}

TerminalToolkit& MachineSession::Toolkit() {
    return parts_->toolkit;
}

void MachineSession::ConnectToNetwork() {
    parts_->opened.Model().SetHttp([] {
        auto request = CurlHttp().CreateXmlHttpRequest();
        return std::move(request.value);
    });
}

std::vector<Unreadable> MachineSession::CollectUnreadable() {
    std::vector<Unreadable> unreadable;
    const Text ignoreList = IgnoreListPath();  // told below by whoever needed it
    for (const UnreadableItem& item : parts_->witness.Unreadable()) {
        if (EqualsIgnoreCase(item.name, ignoreList)) continue;
        unreadable.push_back(
            {item.kind, item.name, SysUtil::SystemErrorText(item.error), item.error});
    }
    if (parts_->opened.volume) {
        for (const VolumeProblem& problem : parts_->opened.volume->Problems()) {
            unreadable.push_back(
                {Text(problem.kind), FromUtf8(problem.file), FromUtf8(problem.what)});
        }
    }
    for (const MemoryLog::Line& line : log_->Lines()) {
        if (line.level == LogLevel::Trace) continue;
        if (line.source != kPassOverSource) {
            unreadable.push_back({u"step", line.source, line.message});
        } else if (std::ranges::find(unreadable, u"ignore-list", &Unreadable::kind) ==
                   unreadable.end()) {
            unreadable.push_back({u"ignore-list", ignoreList, line.message});
        }
    }
    return unreadable;
}

std::vector<RecordedChange> MachineSession::Changes() const {
    std::vector<RecordedChange> changes = parts_->recorder.Changes();
    for (const Turn& turn : turns_) {
        for (std::size_t i = turn.firstChange; i < changes.size(); ++i) changes[i].user = turn.user;
    }
    return changes;
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
    Json users = Json::array();
    if (parts_->opened.volume) {
        for (const VolumeUser& user : parts_->opened.volume->Users()) {
            users.push_back(TextToJson(ShownName(user)));
        }
    }
    return {{"schema", kSchema},
            {"machine",
             {{"kind", NameOf(parts_->opened)},
              {"name", TextToJson(FromHostName(hostFolder_.substr(hostFolder_.rfind('/') + 1)))},
              {"windows", TextToJson(WindowsText())},
              {"family", gIsNT ? "nt" : "9x"},
              {"users", std::move(users)}}}};
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
