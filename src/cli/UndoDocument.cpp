#include "cli/UndoDocument.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/TextTable.h"
#include "platform/undo/UndoFolder.h"
#include "ui/terminal/PrintableText.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Outcome = UndoStep::Outcome;

Json OrNull(const Text& text) {
    return text.empty() ? Json(nullptr) : TextToJson(text);
}

Json IdOrNull(RecordId id) {
    return id == 0 ? Json(nullptr) : Json(id);
}

Json StepToJson(const UndoStep& step) {
    return {{"kind", TextToJson(KindTitle(step.change.kind))},
            {"place", TextToJson(PlaceOf(step.change))},
            {"before", OrNull(step.before)},
            {"after", OrNull(step.after)},
            {"now", OrNull(step.now)},
            {"outcome", TextToJson(OutcomeTitle(step.outcome))},
            {"done", step.outcome == Outcome::Done}};
}

std::string Shown(const Text& state) {
    return state.empty() ? "(nothing)" : PrintableText(state);
}

void PrintStates(const Console& console, const UndoStep& step) {
    console.out << "      before: " << Shown(step.before) << "\n      after:  " << Shown(step.after)
                << "\n      now:    " << Shown(step.now) << '\n';
}

void PrintSteps(const Console& console, const UndoResult& result, Outcome outcome,
                const std::string& heading) {
    const std::size_t count = result.Count(outcome);
    if (count == 0) return;
    console.out << console.Bold(heading + " (" + std::to_string(count) + ")") << '\n';
    for (const UndoStep& step : result.steps) {
        if (step.outcome != outcome) continue;
        console.out << "  " << PrintableText(KindTitle(step.change.kind)) << ": "
                    << PrintableText(PlaceOf(step.change)) << '\n';
        if (!step.error.empty()) console.out << "      " << PrintableText(step.error) << '\n';
        if (outcome == Outcome::Conflict) PrintStates(console, step);
    }
    console.out << '\n';
}

}  // namespace

Json RecordsToJson(const std::vector<UndoSummary>& records) {
    Json list = Json::array();
    for (const UndoSummary& record : records) {
        list.push_back({{"record", record.id},
                        {"time", OrNull(record.time)},
                        {"operation", OrNull(record.operation)},
                        {"changes", record.changes},
                        {"notUndoable", record.notUndoable},
                        {"state", TextToJson(StateTitle(record))},
                        {"undoes", record.undoes ? Json(*record.undoes) : Json(nullptr)},
                        {"canBeUndone", record.CanBeUndone()}});
    }
    return list;
}

void PrintRecords(const Console& console, const std::vector<UndoSummary>& records) {
    if (records.empty()) {
        console.err << "brackenfold: there is nothing to undo" << std::endl;
        return;
    }
    TextTable table({"Record", "Time", "Changes", "State", "Operation"});
    for (const UndoSummary& record : records) {
        std::string title = PrintableText(OperationTitle(record.operation));
        if (record.undoes) title += " of " + std::to_string(*record.undoes);
        table.AddRow({std::to_string(record.id), PrintableText(record.time),
                      std::to_string(record.changes), PrintableText(StateTitle(record)), title});
    }
    table.Print(console);
}

Json UndoToJson(const UndoResult& result) {
    Json changes = Json::array();
    Json failed = Json::array();
    for (const UndoStep& step : result.steps) {
        changes.push_back(StepToJson(step));
        if (step.outcome != Outcome::Failed && step.outcome != Outcome::Conflict) continue;
        failed.push_back({{"kind", TextToJson(KindTitle(step.change.kind))},
                          {"name", TextToJson(PlaceOf(step.change))},
                          {"error", TextToJson(step.error)}});
    }
    if (!result.failure.empty()) {
        failed.push_back({{"kind", "record"},
                          {"name", TextToJson(UndoFolderPath(TheMachine().System()))},
                          {"error", TextToJson(result.failure)}});
    }
    return {{"record", IdOrNull(result.record)},
            {"undone", result.undone},
            {"changes", std::move(changes)},
            {"failed", std::move(failed)}};
}

void PrintUndo(const Console& console, const UndoResult& result, bool isDryRun) {
    PrintSteps(console, result, Outcome::Done, isDryRun ? "Would be taken back" : "Taken back");
    PrintSteps(console, result, Outcome::NotUndoable, "Can't be undone");
    PrintSteps(console, result, Outcome::Conflict,
               "Left alone, since something else changed it (--force puts it back)");
    PrintSteps(console, result, Outcome::Failed, "Failed");
    console.out << PrintableText(ResultSentence(result));
    if (isDryRun) console.out << " Nothing was changed: this was a dry run.";
    console.out << '\n';
    if (result.record != 0) {
        console.out << "By record " << result.record << " this can be undone in turn.\n";
    }
}

}  // namespace bkfd
