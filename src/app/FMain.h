#pragma once

#include <vector>

#include "app/ucSupport.h"
#include "panels/ucBHO.h"
#include "panels/ucCS.h"
#include "panels/ucHelp.h"
#include "services/ErrorMode.h"
#include "services/Logger.h"
#include "ui/Form.h"
#include "ui/TabStrip.h"

namespace bkfd {

/// The main window: tabs with a panel each, menus and keys. Making it does nothing yet; the
/// start-up lies in `Form_Initialize` and, before the window is first shown, in `Form_Load`.
class FMain : public Form, public Object {
  public:
    FMain();

    /// The start-up: logs, custom object, component check, application state, detection and the
    /// cleanup's decision. Called once, before the window is loaded. A failing step is passed over;
    /// one line in the log tells of the last failure. If a component is missing, and after a
    /// restart request, the program ends here (`Toolkit::EndProgram`).
    void Form_Initialize();
    /// What is done once before the window shows. A failure skips the rest and leaves a line in the
    /// log; the window is shown all the same.
    void Form_Load();

    /// The keys of the whole window, wherever the focus is.
    void Form_KeyUp(int keyCode, int shiftState);
    /// Members by name: "Form_KeyUp" with a key code and a shift state.
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

  private:
    void OpenLogs(ContinueOnError& step);
    void RunCustomObject(ContinueOnError& step);
    void RequireComponents(ContinueOnError& step);
    void LogPendingError(ContinueOnError& step);
    /// Before anything is offered, so that nothing is cleaned up which the user thinks is ignored.
    void TellOfDamagedIgnoreList();
    /// A TypeMismatch for what is no logger.
    static LoggerRef CastToLogger(const Variant& variable);

    void ConnectWindow();
    void BackupRegistry();
    void InitPanels();
    void ShowCurrentPanel();
    void LogTabState();
    static std::size_t TabIndexFromKey(TextView key);
    void MoveToTab(bool forward);
    void AskForCleanUp();

    void Form_Resize();
    void Form_Unload();
    void ts_Click();
    void mnuRefresh_Click();
    void mnuBackup_Click();
    void mnuRestore_Click();
    void mnuSafeRemover_Click();
    void mnuRestoreDisabledFiles_Click();
    void mnuUndoChanges_Click();
    void mnuIgnoreList_Click();
    void mnuAbout_Click();

    LoggerRef logger_;
    std::vector<TabPanel*> panels_;
    std::size_t currentTab_ = 1;  // from 1; 0 shows no panel

    MenuItem mnuFile{*this, u"mnuFile", u"&File"};
    MenuItem mnuRefresh{mnuFile, u"mnuRefresh", u"&Refresh"};
    MenuItem mnuFile1{mnuFile, u"mnuFile1", u"-"};
    MenuItem mnuExit{mnuFile, u"mnuExit", u"&Exit"};
    MenuItem mnuTools{*this, u"mnuTools", u"&Tools"};
    MenuItem mnuBackup{mnuTools, u"mnuBackup", u"&Backup Current Settings"};
    MenuItem mnuRestore{mnuTools, u"mnuRestore", u"&Restore..."};
    MenuItem mnuTools1{mnuTools, u"mnuTools1", u"-"};
    MenuItem mnuSafeRemover{mnuTools, u"mnuSafeRemover", u"&Safe Remover..."};
    MenuItem mnuRestoreDisabledFiles{mnuTools, u"mnuRestoreDisabledFiles",
                                     u"Restore Removed &Programs..."};
    MenuItem mnuUndoChanges{mnuTools, u"mnuUndoChanges", u"&Undo Changes..."};
    MenuItem mnuIgnoreList{mnuTools, u"mnuIgnoreList", u"&Ignore List..."};
    MenuItem mnuHelp{*this, u"mnuHelp", u"&Help"};
    MenuItem mnuVisitWebsite{mnuHelp, u"mnuVisitWebsite", u"Brackenfold &Home Page"};
    MenuItem mnuHelp1{mnuHelp, u"mnuHelp1", u"-"};
    MenuItem mnuAbout{mnuHelp, u"mnuAbout", u"&About Brackenfold..."};

    const std::vector<NamedImage> ImageList1{{u"help", u"TABHELP"},
                                             {u"BHO", u"TABHELPERS"},
                                             {u"CS", u"TABSETTINGS"},
                                             {u"Support", u"TABSUPPORT"}};
    TabStrip ts{*this,
                u"ts",
                {{u"help", u"Help"},
                 {u"BHO", u"Step 1. Remove Browser Helper Objects"},
                 {u"CS", u"Step 2. Restore Configuration Settings"},
                 {u"Support", u"Step 3. Contact Support"}},
                ImageList1};
    ucHelp ucHelp1{*this, u"ucHelp1"};
    ucBHO ucBHO1{*this, u"ucBHO1"};
    ucCS ucCS1{*this, u"ucCS1"};
    ucSupport ucSupport1{*this, u"ucSupport1"};
    Label lblCopyright{*this, u"lblCopyright"};
};

}  // namespace bkfd
