#pragma once

#include <vector>

#include "services/Logger.h"
#include "ui/HidingForm.h"
#include "ui/Label.h"
#include "ui/ListView.h"
#include "ui/Picture.h"
#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"

namespace bkfd {

/// The window that takes back what an operation of the program changed. It lists the records of all
/// operations, the newest first. The opener unloads it.
class FUndoChanges : public HidingForm {
  public:
    FUndoChanges();

    /// Called once, before the window is shown. `hasEntries` tells whether there is any record.
    void Init(LoggerRef logger, bool& hasEntries);

    /// Raised when something was taken back, while the window is still there.
    Event<> Undone;

  private:
    void RefreshList();
    void ShowRecords(RecordId selected);
    /// The record of the selected row, or null.
    const UndoSummary* Selected() const;
    void lv_ItemClick();
    void cmdUndo_Click();
    void Form_Resize();

    bool Agrees(const UndoSummary& record) const;
    /// Asks whether what was left alone is to be put back all the same, and does so.
    void Undo(const UndoSummary& record);
    UndoResult TakeBackAndLog(RecordId id, const UndoOptions& options) const;

    LoggerRef logger_;
    std::vector<UndoSummary> records_;  // in the order of the rows

    Picture Image1{*this, u"Image1", u"RESTORE"};
    Label Label1{*this, u"Label1",
                 u"Specify operation then press \"Undo Changes\" button. What it changed is put "
                 u"back as it was before."};
    Label Label2{*this, u"Label2", u"&Select operation to undo:"};
    ListView lv;
    Button cmdUndo{*this, u"cmdUndo", u"&Undo Changes"};
    Button cmdClose{*this, u"cmdClose", u"&Close"};
};

}  // namespace bkfd
