#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/Utf16Bytes.h"
#include "cli/CommandFiles.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/ReportPage.h"
#include "cli/Reported.h"
#include "cli/UndoDocument.h"
#include "services/MAPI.h"
#include "ui/terminal/PrintableText.h"
#include "undo/UndoExport.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

const char kUndoHelp[] =
    R"(Every operation that changes the machine keeps what was there before: clean, disable, restore,
settings --restore, and those of the program's windows. Without ID: the list of these records, the
newest first. With ID, or last for the newest that isn't undone: takes that operation back, change
by change, the latest first. Values, keys, names and attributes of files come back exactly; ended
processes and a restart don't, and a deleted key gets the permissions of the key above it. What
something else has changed meanwhile is told and left alone; --force puts back even there what was
before, and moves a file that took a name again aside. The undo is recorded too and can be undone in
turn.

Exit code 0 if all that can be undone is as before; 2 if something failed, or if the answer was
Cancel; 3 if something was left alone. What the registry editor imports isn't recorded.

With --json: without ID {"schema", "machine", "items": [{"record", "time", "operation", "changes",
"notUndoable", "state", "undoes", "canBeUndone"}]}; with ID {"schema", "machine", "record": of this
undo, "undone": ID, "changes": [{"kind", "place", "before", "after", "now", "outcome", "done"}],
"failed": [{"kind", "name", "error"}]}. Without --yes it changes nothing, since nobody is asked.)";

RecordId NumberOf(const std::string& typed) {
    RecordId id = 0;
    const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), id);
    if (error == std::errc() && end == typed.data() + typed.size() && id != 0) return id;
    throw CommandError("no number of a record: " + typed);
}

class UndoCommand final : public Command {
  public:
    const char* Name() const override { return "undo"; }
    const char* Summary() const override { return "List what was done, or take it back"; }

    void Declare(CommandOptions& options) override {
        options.AddOptionalName("ID", id_, "Record of the operation to take back, or last");
        options.AddFlag("--force", isForced_, "Also where something else changed it meanwhile");
        options.AddFlag("--dry-run", isDryRun_, "Do all of it in memory only, and say what it was");
        options.AddFlag("--yes", yes_, "Answer OK to the question");
        options.AddValue("--reg", "FILE", regFile_,
                         "Change nothing; write what the registry held before to a new .reg file");
        options.AddValue(
            "--html", "FILE", page_,
            "Change nothing; write a page for the browser that tells what was changed");
        options.AddValue("--forget", "ID", forgotten_, "Remove a record for good");
        options.Explain(kUndoHelp);
    }

    int Run(CommandContext& context) override {
        const bool isChange = (!id_.empty() && regFile_.empty()) || !forgotten_.empty();
        SessionUse use = isChange ? ChangingUse(context, yes_ || isDryRun_) : SessionUse{};
        use.isDryRun = isDryRun_ || !page_.empty();
        MachineSession session(context, use);
        if (!forgotten_.empty()) return Forget(context, session, NumberOf(forgotten_));
        if (id_.empty()) return List(context, session);
        const RecordId id = ChosenRecord();
        if (!page_.empty()) return WritePage(context, session, id);
        return regFile_.empty() ? Undo(context, session, id) : WriteReg(context, session, id);
    }

  private:
    /// The beginning of the session's document with more members.
    static void PrintDocument(const CommandContext& context, const MachineSession& session,
                              const Json& members) {
        Json document = session.NewDocument();
        document.update(members);
        PrintJson(context.console.out, document);
    }

    static int List(const CommandContext& context, const MachineSession& session) {
        const std::vector<UndoSummary> records = ListUndoRecords();
        if (context.asJson) {
            PrintDocument(context, session, {{"items", RecordsToJson(records)}});
        } else {
            PrintRecords(context.console, records);
        }
        return ExitCode::Done;
    }

    RecordId ChosenRecord() const {
        if (id_ != "last") return NumberOf(id_);
        if (const auto last = LastUndoable(ListUndoRecords())) return *last;
        throw CommandError("there is nothing to undo");
    }

    static bool IsWanted(CommandContext& context, const std::string& question) {
        if (ShowMessage(FromUtf8(question), MessageStyle::Exclamation | MessageStyle::OkCancel) ==
            MessageResult::Ok) {
            return true;
        }
        context.console.err << "brackenfold: nothing was changed" << std::endl;
        return false;
    }

    static UndoRecord UsableRecord(RecordId id) {
        UndoRecord record = Reported([&] { return ReadRecord(id); });
        if (record.IsUsable()) return record;
        throw CommandError("record " + std::to_string(id) +
                           " can't be used: " + ToUtf8(StateTitle(record.state)));
    }

    int Undo(CommandContext& context, MachineSession& session, RecordId id) const {
        const UndoRecord record = UsableRecord(id);
        const std::string question = "Are you sure you want to undo '" +
                                     ToUtf8(OperationTitle(record.operation)) + "' of " +
                                     ToUtf8(record.time) + "?";
        if (!isDryRun_ && !IsWanted(context, question)) return ExitCode::Failed;
        const UndoResult result = Reported([&] { return TakeBack(id, {isForced_}); });
        session.Commit();
        if (context.asJson) {
            PrintDocument(context, session, UndoToJson(result));
        } else {
            PrintUndo(context.console, result, isDryRun_);
        }
        if (result.IsWhole()) return ExitCode::Done;
        const bool hasFailed =
            !result.failure.empty() || result.Count(UndoStep::Outcome::Failed) > 0;
        return hasFailed ? ExitCode::Failed : ExitCode::Incomplete;
    }

    int WriteReg(const CommandContext& context, const MachineSession& session, RecordId id) const {
        const UndoRecord record = UsableRecord(id);
        Bytes content = {0xFF, 0xFE};
        const Bytes text = ToUtf16Bytes(ExportBefore(record));
        content.insert(content.end(), text.begin(), text.end());
        const std::size_t cut = regFile_.rfind('/') + 1;
        NewHostFiles files(regFile_.substr(0, cut));
        const std::string written = files.Write(regFile_.substr(cut), content);
        files.Keep();
        if (context.asJson) {
            PrintDocument(context, session, {{"file", TextToJson(FromUtf8(written))}});
        } else {
            context.console.out << PrintableText(FromUtf8(written)) << '\n';
        }
        return ExitCode::Done;
    }

    /// What the record tells, and what an undo would do with it now.
    int WritePage(const CommandContext& context, const MachineSession& session, RecordId id) const {
        const UndoRecord record = UsableRecord(id);
        Json document = session.NewDocument();
        document["operation"] = TextToJson(OperationTitle(record.operation));
        document["time"] = TextToJson(record.time);
        document.update(UndoToJson(Reported([&] { return TakeBack(id, {}); })));
        WriteReportPage(page_, {{"undo", document}});
        if (context.asJson) {
            PrintDocument(context, session, {{"file", TextToJson(FromUtf8(page_))}});
        } else {
            context.console.out << PrintableText(FromUtf8(page_)) << '\n';
        }
        return ExitCode::Done;
    }

    static int Forget(CommandContext& context, const MachineSession& session, RecordId id) {
        (void)Reported([&] { return ReadRecord(id); });
        if (!IsWanted(context, "Are you sure you want to remove record " + std::to_string(id) +
                                   "? What it tells of can't be undone any more.")) {
            return ExitCode::Failed;
        }
        Reported([&] { ForgetRecord(id); });
        if (context.asJson) PrintDocument(context, session, {{"forgotten", id}});
        return ExitCode::Done;
    }

    std::string id_;
    bool isForced_ = false;
    bool isDryRun_ = false;
    bool yes_ = false;
    std::string regFile_;
    std::string page_;
    std::string forgotten_;
};

}  // namespace

std::unique_ptr<Command> MakeUndoCommand() {
    return std::make_unique<UndoCommand>();
}

}  // namespace bkfd
