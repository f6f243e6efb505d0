#include <algorithm>
#include <string>

#include "base/ProgramEnd.h"
#include "cli/ChangeRun.h"
#include "cli/Commands.h"
#include "platform/undo/RecordedOperation.h"
#include "removal/CPaRemover.h"
#include "removal/DisableFiles.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kDisableHelp[] =
    R"(The Safe Remover: disables files that the automatic detection doesn't know, usually on the
advice of support. Renames them, ends the processes that hold them, puts the browser's
settings right and restarts Windows. No registration and no startup entry is deleted. restore
gives a disabled file its name back. A backup is written first. A name without a folder is looked
for where Windows looks; an encoded name of a log is taken as the name that it stands for. Exit
code 2 if a file isn't there or could not be disabled, or if the answer was Cancel.

)";

std::string NothingThere(const std::vector<Text>& files) {
    std::string message = "nothing was changed, since there is no file";
    const char* separator = " ";
    for (const Text& file : files) {
        message += separator + PrintableText(file);
        separator = ", nor ";
    }
    return message;
}

class DisableCommand final : public Command {
  public:
    const char* Name() const override { return "disable"; }
    const char* Summary() const override { return "Take the files that you name out of action"; }

    void Declare(CommandOptions& options) override {
        options.AddNames("FILE", files_, "Files of the machine, by name, path or encoded name");
        run_.Declare(options);
        options.Explain(std::string(kDisableHelp) + kChangeDocumentHelp);
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, run_.Use(context));
        return run_.Run(context, session, StringId::AskDisablePrograms, "Disabled",
                        [&](auto& expected) { return Disable(session, expected); });
    }

  private:
    bool Disable(MachineSession& session, ExpectedChanges& expected) const {
        std::vector<Text> names;
        for (const std::string& file : files_) {
            std::ranges::move(DecodedFileNames(FromUtf8(file)), std::back_inserter(names));
        }
        NamedFiles named;
        if (!CollectFilesToDisable(names, session.Log(), named)) return false;
        if (named.files.Count() == 0) throw CommandError(NothingThere(named.missing));
        expected.ExpectFiles(named.files);
        for (const Text& file : named.missing) expected.AddMissing(file);
        session.ForEachUser([&](const Text& user) { run_.BackUp(user); });
        const RecordedOperation operation(UndoOperation::kDisableFiles);
        bool isFirst = true;
        session.ForEachUser([&](const Text&) {
            DisableForUser(session, named.files, isFirst);
            isFirst = false;
        });
        return true;
    }

    /// The files are the machine's, the settings each user's. On a machine that isn't running the
    /// restart isn't the end: the next user follows.
    static void DisableForUser(const MachineSession& session, const KeyedList& files,
                               bool isFirst) {
        try {
            if (isFirst) {
                DisableFiles(files, session.Log(), u"DisableCommand.Disable");
                return;
            }
            CPaRemover remover;
            remover.Init(session.Log());
            remover.RestoreConfigurationSettings();
        } catch (const ProgramEnd&) {
            if (session.IsRunning()) throw;
        }
    }

    std::vector<std::string> files_;
    ChangeRun run_;
};

}  // namespace

std::unique_ptr<Command> MakeDisableCommand() {
    return std::make_unique<DisableCommand>();
}

}  // namespace bkfd
