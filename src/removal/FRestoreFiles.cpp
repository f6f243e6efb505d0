#include "removal/FRestoreFiles.h"

#include "base/RuntimeError.h"
#include "platform/undo/RecordedOperation.h"
#include "processes/ParasiteFileName.h"
#include "processes/RemovedFiles.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"
#include "ui/ListFormLayout.h"
#include "ui/Metrics.h"
#include "undo/KeptChanges.h"

namespace bkfd {
namespace {

constexpr int kRestoreWidth = 2400;

Text Named(StringId message, const Text& file) {
    return SysUtil::FormatTemplate(ResourceString(message), {file});
}

}  // namespace

FRestoreFiles::FRestoreFiles() : HidingForm(u"FRestoreFiles") {
    SetCaption(u"Restore Removed Programs");
    SetIconName(u"ABOUT");
    SetClientSize(7200, 4200);
    cmdRestoreFile.SetDefault(true);
    ClosesBy(cmdClose);
    onResize = [this] { Form_Resize(); };
    cmdRestoreFile.onClick = [this] { cmdRestoreFile_Click(); };
}

void FRestoreFiles::Init(LoggerRef logger, bool& hasEntries) {
    hasEntries = false;
    logger_ = std::move(logger);
    LogErrors(*logger_, LogLevel::SystemFailure, u"FRestoreFiles.Init", [&] {
        processManager_.Init(logger_);
        RefreshList();
        hasEntries = lstFiles.Count() > 0;
    });
}

void FRestoreFiles::RefreshList() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FRestoreFiles.RefreshList", [this] {
        lstFiles.Clear();
        for (const Text& file : RestorableFiles()) lstFiles.Add(file);
        if (lstFiles.Count() > 0) lstFiles.SetSelectedIndex(1);
    });
}

void FRestoreFiles::cmdRestoreFile_Click() {
    const Text file = lstFiles.SelectedText();
    if (file.empty()) return;
    try {
        Restore(file);
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger_->Failure(error, LogLevel::SystemFailure, u"FRestoreFiles.cmdRestoreFile_Click");
        ShowMessage(Named(StringId::CannotRestoreProgram, file) + error.Description(),
                    MessageStyle::Information);
    }
}

void FRestoreFiles::Restore(const Text& file) {
    const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
    if (ShowMessage(Named(StringId::AskRestoreProgram, file), style) != MessageResult::Ok) return;
    const RecordedOperation operation(UndoOperation::kRestoreFile);
    bool isRenamed = false;
    processManager_.SafeRenameFile(GetParasiteFileName(file), file, isRenamed);
    if (isRenamed) {
        RegistryAccess registry;
        (void)registry.DeleteValue(kRemovedFilesRoot, kRemovedFilesKey, file);
    }
    // Shown after a failed rename too, on purpose; the log tells of it and the row stays.
    if (!TellIfNotKept(*logger_, u"FRestoreFiles.Restore")) {
        ShowMessage(Named(StringId::ProgramRestored, file), MessageStyle::Information);
    }
    RefreshList();
    if (lstFiles.Count() > 0) return;
    ShowMessage(ResourceString(StringId::NoMoreToRestore), MessageStyle::Information);
    Hide();
}

void FRestoreFiles::Form_Resize() {
    using namespace Metrics;
    LayOutListForm(*this,
                   {Image1, Label1, Label2, lstFiles, cmdRestoreFile, kRestoreWidth, cmdClose});
    // One line of text stands at the middle of the picture.
    Label1.SetBounds(
        {Label1.Left(), kMargin + (kPictureSize - kLabelHeight) / 2, Label1.Width(), kLabelHeight});
}

}  // namespace bkfd
