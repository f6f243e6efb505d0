#include <algorithm>
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

/// A disabled file, and in whose list it is.
struct Restorable {
    Text file;
    Text user;
};

/// Each file once, whoever has disabled it.
std::vector<Restorable> AllRestorable(MachineSession& session) {
    std::vector<Restorable> all;
    session.ForEachUser([&](const Text& user) {
        for (Text& file : RestorableFiles()) {
            const bool isKnown = std::ranges::any_of(
                all, [&](const Restorable& known) { return EqualsIgnoreCase(known.file, file); });
            if (!isKnown) all.push_back({std::move(file), user});
        }
    });
    return all;
}

/// The disabled file that is meant: by its name, or as it is printed where its name holds what no
/// terminal can show.
Restorable FindRestorable(const std::vector<Restorable>& all, const std::string& typed) {
    std::vector<Restorable> asPrinted;
    for (const Restorable& candidate : all) {
        const Text& file = candidate.file;
        if (EqualsIgnoreCase(file, FromHostName(typed))) return candidate;
        const bool isPrinted = PrintableText(file) == typed || ToUtf8(file) == typed;
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
            const int code =
                Restore(context, session, FindRestorable(AllRestorable(session), file_));
            if (code != ExitCode::Done) return code;
        }
        Print(context, session, AllRestorable(session));
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        return ExitCodeOf(unreadable);
    }

  private:
    static int Restore(CommandContext& context, MachineSession& session,
                       const Restorable& restorable) {
        const Text& file = restorable.file;
        if (ShowMessage(Filled(StringId::AskRestoreProgram, file),
                        MessageStyle::Exclamation | MessageStyle::OkCancel) != MessageResult::Ok) {
            context.console.err << "brackenfold: nothing was changed" << std::endl;
            return ExitCode::Failed;
        }
        bool isDone = false;
        session.ForEachUser([&](const Text& user) {
            if (isDone || user != restorable.user) return;
            isDone = true;
            GiveNameBack(session, file);
        });
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
                      const std::vector<Restorable>& files) {
        if (context.asJson) {
            Json document = session.NewDocument();
            Json& list = document["items"] = Json::array();
            for (const Restorable& one : files) list.push_back(TextToJson(one.file));
            PrintJson(context.console.out, document);
            return;
        }
        if (files.empty()) {
            ShowMessage(ResourceString(StringId::NothingToRestore), MessageStyle::Information);
        }
        for (const Restorable& one : files) {
            context.console.out << PrintableText(one.file) << '\n';
        }
    }

    std::string file_;
    bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeRestoreCommand() {
    return std::make_unique<RestoreCommand>();
}

}  // namespace bkfd
