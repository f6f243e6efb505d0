#pragma once

#include "processes/CProcessManager.h"
#include "services/Logger.h"
#include "ui/HidingForm.h"
#include "ui/Label.h"
#include "ui/ListBox.h"
#include "ui/Picture.h"

namespace bkfd {

/// The user's undo: gives disabled files their names back. Registrations, startup entries and
/// settings aren't part of it. The opener unloads it.
class FRestoreFiles : public HidingForm {
  public:
    FRestoreFiles();

    /// Called once, before the window is shown. `hasEntries` tells whether there is anything to
    /// restore.
    void Init(LoggerRef logger, bool& hasEntries);

  private:
    /// Lists the removed files whose disabled file is there. Others keep their entry in the
    /// registry.
    void RefreshList();
    void Restore(const Text& file);
    void cmdRestoreFile_Click();
    void Form_Resize();

    LoggerRef logger_;
    CProcessManager processManager_;

    Picture Image1{*this, u"Image1", u"RESTORE"};
    Label Label1{*this, u"Label1",
                 u"Specify program then press \"Restore Removed Program\" button."};
    Label Label2{*this, u"Label2", u"&Select program to restore:"};
    ListBox lstFiles{*this, u"lstFiles"};
    Button cmdRestoreFile{*this, u"cmdRestoreFile", u"&Restore Removed Program"};
    Button cmdClose{*this, u"cmdClose", u"&Close"};
};

}  // namespace bkfd
