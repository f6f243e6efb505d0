#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "platform/files/HostFiles.h"
#include "platform/undo/RecordedOperation.h"
#include "processes/CProcessManager.h"
#include "processes/ParasiteFileName.h"
#include "processes/RemovedFiles.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kRestoreHelp[] =
    R"(Only the name comes back: registrations and startup entries that a cleanup deleted stay
deleted; undo takes the whole cleanup back. A newer file of that name is replaced.

With --json: {"items": [paths of the files that can still be restored]}.)";

Text Filled(StringId string, const Text& file) {
    return SysUtil::FormatTemplate(ResourceString(string), {file});
}

/// The disabled file that is meant: by its name, or as it is printed where its name holds what no
/// terminal can show.
Text FindRestorable(const std::string& typed) {
    std::vector<Text> asPrinted;
    for (const Text& candidate : RestorableFiles()) {
        if (EqualsIgnoreCase(candidate, FromHostName(typed))) return candidate;
        const bool isPrinted = PrintableText(candidate) == typed || ToUtf8(candidate) == typed;
        if (isPrinted) asPrinted.push_back(candidate);
    }
    if (asPrinted.size() == 1) return asPrinted.front();
    throw CommandError((asPrinted.empty() ? "there is no disabled file of the name "
                                          : "there are several disabled files printed as ") +
                       PrintableText(FromUtf8(typed)));
}

class RestoreCommand final : public Command {
  public:
    const char* Name() const override { return "restore"; }
    const char* Summary() const override {
        return "List disabled files, or give one its name back";
    }

    void Declare(CommandOptions& options) override {
        options.AddOptionalName("FILE", file_, "Former name of the file that gets it back");
        options.AddFlag("--yes", yes_, "Answer OK to the question");
        options.Explain(kRestoreHelp);
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, file_.empty() ? SessionUse{} : ChangingUse(context, yes_));
        if (!file_.empty()) {
            const int code = Restore(context, session, FindRestorable(file_));
            if (code != ExitCode::Done) return code;
        }
        Print(context, session, RestorableFiles());
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        return ExitCodeOf(unreadable);
    }

  private:
    static int Restore(CommandContext& context, MachineSession& session, const Text& file) {
        if (ShowMessage(Filled(StringId::AskRestoreProgram, file),
                        MessageStyle::Exclamation | MessageStyle::OkCancel) != MessageResult::Ok) {
            context.console.err << "brackenfold: nothing was changed" << std::endl;
            return ExitCode::Failed;
        }
        GiveNameBack(session, file);
        session.Commit();
        ShowMessage(Filled(StringId::ProgramRestored, file), MessageStyle::Information);
        return ExitCode::Done;
    }

    static void GiveNameBack(MachineSession& session, const Text& file) {
        const RecordedOperation operation(UndoOperation::kRestoreFile);
        CProcessManager processes;
        processes.Init(session.Log());
        bool ok = false;
        processes.SafeRenameFile(GetParasiteFileName(file), file, ok);
        if (!ok) throw CommandError(ToUtf8(Filled(StringId::CannotRestoreProgram, file)));
        RegistryAccess registry;
        const Status deleted = registry.DeleteValue(kRemovedFilesRoot, kRemovedFilesKey, file);
        if (!deleted.IsOk()) {
            throw CommandError("the file has its name back, but stays in the list: " +
                               ToUtf8(SysUtil::SystemErrorText(deleted.code)));
        }
    }

    static void Print(CommandContext& context, const MachineSession& session,
                      const std::vector<Text>& files) {
        if (context.asJson) {
            Json document = session.NewDocument();
            Json& list = document["items"] = Json::array();
            for (const Text& file : files) list.push_back(TextToJson(file));
            PrintJson(context.console.out, document);
            return;
        }
        if (files.empty()) {
            ShowMessage(ResourceString(StringId::NothingToRestore), MessageStyle::Information);
        }
        for (const Text& file : files) context.console.out << PrintableText(file) << '\n';
    }

    std::string file_;
    bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeRestoreCommand() {
    return std::make_unique<RestoreCommand>();
}

}  // namespace bkfd
