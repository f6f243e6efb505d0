#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "cli/Command.h"
#include "cli/Json.h"
#include "cli/MemoryLog.h"
#include "cli/SignatureFiles.h"
#include "platform/record/RecordingMachine.h"
#include "platform/undo/UndoRecord.h"
#include "platform/volume/StartTable.h"
#include "ui/terminal/TerminalToolkit.h"

namespace bkfd {

/// Makes a machine and a toolkit those of the engine, sets the application's state from them, and
/// puts back what was there before at the end.
class InstalledEngine {
  public:
    InstalledEngine(Machine& machine, Toolkit& toolkit);
    ~InstalledEngine();
    InstalledEngine(const InstalledEngine&) = delete;
    InstalledEngine& operator=(const InstalledEngine&) = delete;

  private:
    Machine* machineBefore_;
    Toolkit* toolkitBefore_;
};

/// Something that could not be read, so that results may lack something.
struct Unreadable {
    Text kind;  // as the witness says, "step" for a failed operation of the engine, "ignore-list"
    Text name;
    Text error;
    std::uint32_t code = 0;  // of `SystemError`; 0 where only the text is known

    /// A process that can't be opened is usual and takes nothing from the results.
    /// Without a list nothing is passed over, so that nothing is missing.
    bool MakesIncomplete() const { return kind != u"process" && kind != u"ignore-list"; }
};

/// What a command does with its machine.
struct SessionUse {
    /// Changes it: the engine's log goes to the machine's log files too.
    bool changes = false;
    TerminalToolkit::Answers answers = TerminalToolkit::Answers::SafeChoice;
    /// All changes stay in memory and are gone afterwards.
    bool isDryRun = false;
    /// Changes files alone, as may be done where no registry can be written.
    bool keepsRegistry = false;
};

/// The use of a command that changes the machine: `yes` answers every question, and a document is
/// never interrupted by one.
SessionUse ChangingUse(const CommandContext& context, bool yes);

/// The machine that the command line names, of any kind, ready for the engine. The engine's log is
/// kept in memory.
class MachineSession {
  public:
    /// A machine that is missing, malformed or may not be changed is a CommandError.
    explicit MachineSession(CommandContext& context, SessionUse use = {});
    /// Writes what is still to be written; a failure is told as a message.
    ~MachineSession();
    /// Writes the registry files of a volume, as the end of each operation does too. A CommandError
    /// if they can't be written, or couldn't be then.
    void Commit();

    TerminalToolkit& Toolkit();
    /// Gives the machine the host's network; until then it has none. A dry run never has.
    void ConnectToNetwork();
    const LoggerRef& Log() const { return logger_; }
    const std::vector<MemoryLog::Line>& LogLines() const { return log_->Lines(); }
    /// What could not be read so far, each thing once.
    std::vector<Unreadable> CollectUnreadable();
    /// Does the work for each user of the machine in turn, as that user. `user` is the name, empty
    /// for the one of an image and where nobody's registry can be read.
    void ForEachUser(const std::function<void(const Text& user)>& work);
    /// A CommandError that begins with `what` ("a report") where there are several users.
    void ExpectOneUser(const std::string& what) const;
    /// Whether Windows counts as running there, so that a restart ends what is done with it.
    bool IsRunning() const;
    /// What starts the programs that the machine would run; none for one that has processes.
    std::vector<StartPlace> StartPlaces() const;
    /// When a key was last written, seconds since 1970; nothing where the machine doesn't say. Of a
    /// key below HKEY_CURRENT_USER, `user` is whose it is, as `ForEachUser` names him.
    std::optional<std::int64_t> KeyLastWritten(RegistryRoot root, const Text& key,
                                               const Text& user) const;
    /// The host's paths of the files that hold the registry, those of an image with machine.json.
    std::vector<std::string> RegistryFiles() const;
    /// Where a file of the machine lies on the host.
    std::optional<std::string> HostPath(const Text& path) const;
    /// The machine's folder on the host, without links in it.
    const std::string& HostFolder() const { return hostFolder_; }
    /// The lists by which files are known, the compiled ones first.
    std::vector<SignatureListInfo> SignatureLists() const;
    /// What the added list of parasites says of a file; null if nothing.
    const KnownFiles::Row* KnownParasite(std::int32_t size, std::int32_t hash,
                                         const std::string& sha256) const;
    /// What was asked of the machine so far to be changed.
    std::vector<RecordedChange> Changes() const;
    /// The record of what was changed last, by which it can be undone; 0 if nothing was changed.
    RecordId Record() const;
    /// What the engine has logged as failed, in its words, one line each.
    std::vector<std::string> Failures() const;
    /// One line: "Windows XP 5.1.2600 Service Pack 2".
    Text WindowsText() const;
    /// The beginning of every document of this machine: the schema's version, and which machine.
    Json NewDocument() const;

  private:
    struct Parts;

    /// Null if they can't be opened, which is told as a message.
    static LoggerRef OpenLogFiles(std::ostream& messages);

    void Become(const VolumeUser& user);
    bool TryCommit();

    /// From which change on who was the current user.
    struct Turn {
        std::size_t firstChange;
        Text user;
    };

    std::ostream& messages_;
    std::vector<Turn> turns_;
    std::string failedCommit_;  // why the registry of a volume couldn't be written
    bool isCommitFailureTold_ = false;
    std::string hostFolder_;
    std::vector<SignatureListInfo> addedLists_;
    std::unique_ptr<InstalledSignatures> signatures_;  // null without added lists
    std::unique_ptr<Parts> parts_;
    // Behind the machine, whose files they close first.
    std::shared_ptr<MemoryLog> log_ = std::make_shared<MemoryLog>();
    LoggerRef logger_ = log_;
};

/// The beginning of a document about files of this computer.
Json NewHostDocument();
Json UnreadableToJson(const std::vector<Unreadable>& unreadable);
/// Says what could not be read as messages, for a reader of the results.
void PrintUnreadable(Console& console, const std::vector<Unreadable>& unreadable);
/// Incomplete if anything but a process is among them, else done.
int ExitCodeOf(const std::vector<Unreadable>& unreadable);

}  // namespace bkfd
