// The main window's tabs, menus and keys.
#include "app/FAbout.h"
#include "app/FIgnoreList.h"
#include "app/FMain.h"
#include "app/FUndoChanges.h"
#include "app/HomePage.h"
#include "base/RuntimeError.h"
#include "panels/RegistryBackup.h"
#include "platform/Machine.h"
#include "removal/CPaRemover.h"
#include "removal/FRestoreFiles.h"
#include "removal/FSafeRemover.h"
#include "resources/BuildSettings.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

// Where the panels stand on the tab strip.
constexpr int kPanelLeft = 285;
constexpr int kPanelTop = 435;
constexpr int kStripMargin = 75;

Variant Call(const Variant& object, TextView member, Variant argument) {
    return object.AsObject()->Invoke(member, {&argument, 1});
}

/// Its name is that of the object alone; the row may say ", ignored" behind it.
Text HelperObjectLine(const ListItem& row) {
    const Variant node = row.Tag();
    const Variant id = node.AsObject()->Invoke(u"Id", {});
    const auto parameter = [&](TextView name) {
        return Call(Call(node, u"params", Text(name)), u"Values", std::int32_t{1});
    };
    return SysUtil::FormatTemplate(u"BHO: %1, '%2', '%3'",
                                   {id, parameter(u"Name"), parameter(u"DLL")});
}

Text SettingLine(const ListItem& row) {
    return SysUtil::FormatTemplate(u"Setting: %1, '%2', '%3'",
                                   {row.SmallIcon(), row.GetText(), row.GetSubItem(1).text});
}

}  // namespace

void FMain::ConnectWindow() {
    SetIconName(u"ABOUT");
    SetKeyPreview(true);
    lblCopyright.SetCaption(u"The latest version of Brackenfold is always available at " +
                            Replace(BuildSettings::HomePage, u"&", u"&&"));
    onLoad = [this] { Form_Load(); };
    onResize = [this] { Form_Resize(); };
    onUnload = [this] { Form_Unload(); };
    onKeyUp = [this](int& keyCode, int shift) { Form_KeyUp(keyCode, shift); };
    ts.onClick = [this] { ts_Click(); };
    mnuRefresh.onClick = [this] { mnuRefresh_Click(); };
    mnuExit.onClick = [this] { Unload(); };
    mnuBackup.onClick = [this] { mnuBackup_Click(); };
    mnuRestore.onClick = [this] { mnuRestore_Click(); };
    mnuSafeRemover.onClick = [this] { mnuSafeRemover_Click(); };
    mnuRestoreDisabledFiles.onClick = [this] { mnuRestoreDisabledFiles_Click(); };
    mnuUndoChanges.onClick = [this] { mnuUndoChanges_Click(); };
    mnuIgnoreList.onClick = [this] { mnuIgnoreList_Click(); };
    mnuVisitWebsite.onClick = OpenHomePage;
    mnuAbout.onClick = [this] { mnuAbout_Click(); };
    // Should a panel fail to start, the others don't cover the first.
    for (Panel* panel : std::initializer_list<Panel*>{&ucBHO1, &ucCS1, &ucSupport1}) {
        panel->SetVisible(false);
    }
    SetClientSize(11250, 6600);  // the four tabs side by side
}

// ---------------------------------------------------------------- panels and tabs

void FMain::InitPanels() {
    const LoggerRef logger = logger_;
    LogErrors(*logger, LogLevel::WindowFailure, u"FMain.InitPanels", [this] {
        panels_ = {&ucHelp1, &ucBHO1, &ucCS1, &ucSupport1};
        for (TabPanel* panel : panels_) {
            panel->SetTop(kPanelTop);
            panel->SetLeft(kPanelLeft);
            Variant variable[] = {logger_};
            panel->Invoke(u"Init", variable);
            logger_ = CastToLogger(variable[0]);
        }
        currentTab_ = 1;
        ShowCurrentPanel();
    });
}

void FMain::ShowCurrentPanel() {
    for (std::size_t index = 1; index <= panels_.size(); ++index) {
        panels_[index - 1]->SetVisible(index == currentTab_);
    }
}

std::size_t FMain::TabIndexFromKey(TextView key) {
    if (key == u"help") return 1;
    if (key == u"BHO") return 2;
    if (key == u"CS") return 3;
    if (key == u"Support") return 4;
    return 0;
}

void FMain::ts_Click() {
    currentTab_ = TabIndexFromKey(ts.SelectedKey());
    ShowCurrentPanel();
}

void FMain::MoveToTab(bool forward) {
    const std::size_t count = panels_.size();
    if (count == 0) return;
    if (forward) {
        currentTab_ = currentTab_ >= count ? 1 : currentTab_ + 1;
    } else {
        currentTab_ = currentTab_ <= 1 ? count : currentTab_ - 1;
    }
    ts.SetSelectedIndex(currentTab_);
    ShowCurrentPanel();
}

void FMain::LogTabState() {
    const Text source = u"FMain.LogTabState";
    LogErrors(*logger_, LogLevel::WindowFailure, source, [&] {
        ListView& helperObjects = ucBHO1.ListViewObject();
        for (std::size_t row = 1; row <= helperObjects.Count(); ++row) {
            logger_->Trace(HelperObjectLine(*helperObjects.Item(row)), source);
        }
        ListView& settings = ucCS1.ListViewObject();
        for (std::size_t row = 1; row <= settings.Count(); ++row) {
            logger_->Trace(SettingLine(*settings.Item(row)), source);
        }
    });
}

void FMain::Form_Resize() {
    ts.SetBounds({kStripMargin, kStripMargin, Width() - 150, Height() - 450});
    const Bounds panelArea{kPanelLeft, kPanelTop, ts.Width() - 435, Height() - 975};
    for (Panel* panel : std::initializer_list<Panel*>{&ucHelp1, &ucBHO1, &ucCS1, &ucSupport1}) {
        panel->SetBounds(panelArea);
    }
    lblCopyright.SetBounds({kStripMargin, Height() - 300, Width() - 150, 225});
}

/// Unloading ends the program; a request for support mustn't keep it alive without a window.
void FMain::Form_Unload() {
    if (ucSupport1.IsWorking()) TheToolkit().EndProgram();
}

// ---------------------------------------------------------------- keys

void FMain::Form_KeyUp(int keyCode, int shiftState) {
    const LoggerRef logger = logger_;
    LogErrors(*logger, LogLevel::SystemFailure, u"FMain.Form_KeyUp", [&] {
        if (keyCode == Key::F12 && shiftState == Shift::None) AskForCleanUp();
        if (keyCode == Key::F5 && shiftState == Shift::None) mnuRefresh_Click();
        if (keyCode == Key::Tab && (shiftState & Shift::Control) != 0) {
            MoveToTab((shiftState & Shift::Shift) == 0);
        }
    });
}

Variant FMain::Invoke(TextView name, std::span<Variant> arguments) {
    if (name != u"Form_KeyUp" || arguments.size() != 2) return Object::Invoke(name, arguments);
    Form_KeyUp(arguments[0].AsInteger(), arguments[1].AsInteger());
    return {};
}

/// Only a list with entries makes it look before it asks.
void FMain::AskForCleanUp() {
    CPaRemover remover;
    remover.Init(logger_);
    if (!IgnoreList::Read().Entries().empty()) {
        TheToolkit().SetPointer(Pointer::Hourglass);
        remover.Check();
        TheToolkit().SetPointer(Pointer::Default);
    }
    const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
    const Text question = remover.WithIgnored(ResourceString(StringId::AskCleanUp));
    if (ShowMessage(question, style) != MessageResult::Ok) return;
    TheToolkit().SetPointer(Pointer::Hourglass);
    remover.CleanUp();
    mnuRefresh_Click();
}

// ---------------------------------------------------------------- menus

void FMain::mnuRefresh_Click() {
    LogErrors(*logger_, LogLevel::WindowFailure, u"FMain.mnuRefresh_Click", [this] {
        ucBHO1.RefreshList();
        ucCS1.RefreshList();
    });
}

void FMain::BackupRegistry() {
    LogErrors(*logger_, LogLevel::WindowFailure, u"FMain.BackupRegistry",
              [] { WriteRegistryBackup(ProgramFolder()); });
}

/// Success is told whatever happened, on purpose: a failure is in the log.
void FMain::mnuBackup_Click() {
    TheToolkit().SetPointer(Pointer::Hourglass);
    BackupRegistry();
    TheToolkit().SetPointer(Pointer::Default);
    ShowMessage(ResourceString(StringId::BackupComplete), MessageStyle::Information);
}

/// The registry editor does it, for the file that the user picks.
void FMain::mnuRestore_Click() {
    ShowMessage(ResourceString(StringId::ExplorerOpens), MessageStyle::Information);
    Machine& machine = TheMachine();
    const Text folder = BackupFolder(ProgramFolder()) + u"\\";
    (void)machine.ShellCommands().ShellExecuteA("open",
                                                machine.System().WideCharToMultiByte(folder));
}

void FMain::mnuSafeRemover_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FMain.mnuSafeRemover_Click", [this] {
        FSafeRemover window;
        window.Init(logger_);
        window.Disabled = [this] { mnuRefresh_Click(); };
        window.ShowModal(this);
        ContinueOnError()([&] { window.Unload(); });
    });
}

void FMain::mnuRestoreDisabledFiles_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FMain.mnuRestoreDisabledFiles_Click", [this] {
        FRestoreFiles window;
        bool hasEntries = false;
        window.Init(logger_, hasEntries);
        if (hasEntries) {
            window.ShowModal(this);
        } else {
            ShowMessage(ResourceString(StringId::NothingToRestore), MessageStyle::Information);
        }
        ContinueOnError()([&] { window.Unload(); });
    });
}

void FMain::mnuUndoChanges_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FMain.mnuUndoChanges_Click", [this] {
        FUndoChanges window;
        bool hasEntries = false;
        window.Init(logger_, hasEntries);
        window.Undone = [this] { mnuRefresh_Click(); };
        if (hasEntries) {
            window.ShowModal(this);
        } else {
            ShowMessage(ResourceString(StringId::NothingToUndo), MessageStyle::Information);
        }
        ContinueOnError()([&] { window.Unload(); });
    });
}

void FMain::mnuIgnoreList_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FMain.mnuIgnoreList_Click", [this] {
        FIgnoreList window;
        const Text message = window.Init(logger_);
        window.Changed = [this] { ucBHO1.RefreshList(); };
        if (message.empty()) {
            window.ShowModal(this);
        } else {
            ShowMessage(message, MessageStyle::Information);
        }
        ContinueOnError()([&] { window.Unload(); });
    });
}

void FMain::mnuAbout_Click() {
    FAbout window;
    window.ShowModal(this);
}

}  // namespace bkfd
