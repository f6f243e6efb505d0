#include "app/FUndoChanges.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/ListFormLayout.h"
#include "ui/Metrics.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Outcome = UndoStep::Outcome;

constexpr int kTimeWidth = 1800;
constexpr int kOperationWidth = 2700;
constexpr int kChangesWidth = 1050;
constexpr int kUndoWidth = 1500;

constexpr TextView kSource = u"FUndoChanges.cmdUndo_Click";

/// The name of an operation in messages.
Text Named(StringId message, const UndoSummary& record) {
    return SysUtil::FormatTemplate(ResourceString(message),
                                   {OperationTitle(record.operation), record.time});
}

/// What a message has room for of a value.
Text Shown(const Text& value) {
    constexpr std::size_t kLongest = 60;
    if (value.empty()) return u"(nothing)";
    return value.size() <= kLongest ? value : value.substr(0, kLongest) + u"...";
}

/// Why a change was not taken back: what was there before, after it, and is there now.
Text WhyLeft(const UndoStep& step) {
    if (step.outcome == Outcome::Failed) return PlaceOf(step.change) + u": " + step.error;
    return PlaceOf(step.change) + u": before " + Shown(step.before) + u", after " +
           Shown(step.after) + u", now " + Shown(step.now);
}

bool IsLeft(const UndoStep& step) {
    return step.outcome == Outcome::Conflict || step.outcome == Outcome::Failed;
}

/// The sentence on the whole, and the first of what was left; the log has all.
Text ResultText(const UndoResult& result) {
    constexpr std::size_t kMostLines = 5;
    Text text = ResultSentence(result);
    std::size_t left = 0;
    for (const UndoStep& step : result.steps) {
        if (!IsLeft(step) || ++left > kMostLines) continue;
        text += (left == 1 ? u"\r\n \r\n" : u"\r\n") + WhyLeft(step);
    }
    return left > kMostLines ? text + u"\r\n..." : text;
}

}  // namespace

FUndoChanges::FUndoChanges()
    : HidingForm(u"FUndoChanges"),
      lv(*this, u"lv",
         {{u"Time", kTimeWidth},
          {u"Operation", kOperationWidth},
          {u"Changes", kChangesWidth},
          {u"State", 0}}) {
    SetCaption(u"Undo Changes");
    SetIconName(u"ABOUT");
    SetClientSize(8400, 4800);
    cmdUndo.SetDefault(true);
    ClosesBy(cmdClose);
    onResize = [this] { Form_Resize(); };
    lv.onItemClick = [this](const ListItemRef&) { lv_ItemClick(); };
    cmdUndo.onClick = [this] { cmdUndo_Click(); };
}

void FUndoChanges::Init(LoggerRef logger, bool& hasEntries) {
    hasEntries = false;
    logger_ = std::move(logger);
    LogErrors(*logger_, LogLevel::SystemFailure, u"FUndoChanges.Init", [&] {
        RefreshList();
        hasEntries = lv.Count() > 0;
    });
}

// ---------------------------------------------------------------- the list

/// The row that was selected stays so; at first it is the newest operation that isn't undone.
void FUndoChanges::RefreshList() {
    const UndoSummary* const before = Selected();
    const RecordId selected = before == nullptr ? 0 : before->id;
    LogErrors(*logger_, LogLevel::SystemFailure, u"FUndoChanges.RefreshList", [&] {
        records_ = ListUndoRecords();
        ShowRecords(selected != 0 ? selected : LastUndoable(records_).value_or(0));
    });
    lv_ItemClick();
}

void FUndoChanges::ShowRecords(RecordId selected) {
    lv.Clear();
    for (const UndoSummary& record : records_) {
        const ListItemRef row = lv.Add(record.time);
        row->SetSubItem(1, OperationTitle(record.operation));
        row->SetSubItem(2, ToText(static_cast<std::int64_t>(record.changes)));
        row->SetSubItem(3, StateTitle(record));
        if (record.id == selected) lv.SetSelectedIndex(lv.Count());
    }
    if (lv.SelectedIndex() == 0 && lv.Count() > 0) lv.SetSelectedIndex(1);
}

const UndoSummary* FUndoChanges::Selected() const {
    const std::size_t row = lv.SelectedIndex();
    return row == 0 || row > records_.size() ? nullptr : &records_[row - 1];
}

void FUndoChanges::lv_ItemClick() {
    const UndoSummary* const record = Selected();
    cmdUndo.SetEnabled(record != nullptr && record->CanBeUndone() && record->changes > 0);
}

// ---------------------------------------------------------------- taking back

void FUndoChanges::cmdUndo_Click() {
    if (Selected() == nullptr) return;
    const UndoSummary record = *Selected();
    if (!Agrees(record)) return;
    try {
        Undo(record);
    } catch (...) {
        const RuntimeError error = CurrentError();
        TheToolkit().SetPointer(Pointer::Default);
        logger_->Failure(error, LogLevel::SystemFailure, Text(kSource));
        ShowMessage(Named(StringId::CannotUndo, record) + error.Description(),
                    MessageStyle::Exclamation);
    }
    RefreshList();
}

bool FUndoChanges::Agrees(const UndoSummary& record) const {
    const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
    return ShowMessage(Named(StringId::AskUndo, record), style) == MessageResult::Ok;
}

void FUndoChanges::Undo(const UndoSummary& record) {
    UndoResult result = TakeBackAndLog(record.id, {});
    if (result.failure.empty() && result.Count(Outcome::Conflict) > 0) {
        const Text question =
            ResultText(result) + u"\r\n \r\n" + ResourceString(StringId::AskForceUndo);
        const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
        if (ShowMessage(question, style) != MessageResult::Ok) return;
        result = TakeBackAndLog(record.id, {.force = true});
    }
    ShowMessage(ResultText(result),
                result.IsWhole() ? MessageStyle::Information : MessageStyle::Exclamation);
}

UndoResult FUndoChanges::TakeBackAndLog(RecordId id, const UndoOptions& options) const {
    const Text source(kSource);
    logger_->Trace(u"Undoing record " + ToText(id), source);
    TheToolkit().SetPointer(Pointer::Hourglass);
    UndoResult result = TakeBack(id, options);
    TheToolkit().SetPointer(Pointer::Default);
    for (const UndoStep& step : result.steps) {
        if (IsLeft(step)) logger_->Write(0, WhyLeft(step), LogLevel::SystemFailure, source);
    }
    logger_->Trace(ResultSentence(result), source);
    Undone();
    return result;
}

// ---------------------------------------------------------------- layout

void FUndoChanges::Form_Resize() {
    using namespace Metrics;
    LayOutListForm(*this, {Image1, Label1, Label2, lv, cmdUndo, kUndoWidth, cmdClose});
    constexpr int kOtherColumns = kTimeWidth + kOperationWidth + kChangesWidth;
    lv.SetColumnWidth(4, std::max(0, Width() - 2 * kMargin - kOtherColumns - kScrollBarWidth));
}

}  // namespace bkfd
