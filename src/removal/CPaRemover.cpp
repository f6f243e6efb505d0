#include "removal/CPaRemover.h"

#include <cmath>
#include <utility>

#include "detection/CBHOManager.h"
#include "detection/CPaDetector.h"
#include "detection/CStartupManager.h"
#include "platform/Machine.h"
#include "platform/undo/RecordedOperation.h"
#include "processes/CProcessManager.h"
#include "removal/ConfigurationSettings.h"
#include "removal/MReboot.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "services/RefusedChange.h"
#include "ui/Toolkit.h"
#include "undo/KeptChanges.h"

namespace bkfd {
namespace {

constexpr RegistryRoot kStampRoot = RegistryRoot::CurrentUser;
constexpr char16_t kStampKey[] = u"Software\\Tarnwick Labs\\Brackenfold\\Current Version\\";
constexpr char16_t kStampName[] = u"PaRemover Cleanup Time";

// Less than 2 minutes apart, in days. Boot times are whole seconds; that two of them are exactly 2
// minutes apart must not depend on the last bits of a date, which are worth less than this.
constexpr Date kSameBoot = 0.001388888888888889;
constexpr Date kLastBitsOfADate = 1e-9;

constexpr std::int16_t kTrue = -1;
constexpr std::int16_t kFalse = 0;

bool Ask(const Text& question, int icon) {
    return ShowMessage(question, icon | MessageStyle::OkCancel) == MessageResult::Ok;
}

bool Ask(StringId question, int icon) {
    return Ask(ResourceString(question), icon);
}

/// Runs the steps; a failure stops them, is logged and shown.
template <class Steps>
void RunAndReport(Logger& logger, const Text& source, Steps&& steps) {
    try {
        std::forward<Steps>(steps)();
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger.Failure(error, LogLevel::SystemFailure, source);
        ShowMessage(
            u"Unexpected error. Please use 'Contact Support' tab to report. " + error.Description(),
            MessageStyle::Exclamation);
    }
}

bool FitsTheCodePage(const Text& text) {
    SystemFacts& system = TheMachine().System();
    const Text back = system.MultiByteToWideChar(system.WideCharToMultiByte(text));
    return back.find(u'?') == Text::npos;
}

}  // namespace

void CPaRemover::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    registry_.emplace();
}

void CPaRemover::Check() {
    const Text source = u"CPaRemover.Check";
    ParasitesFound = kFalse;
    LogErrors(*logger_, LogLevel::SystemFailure, source, [&] {
        const Detection found = FindParasites();
        if (!found.files.empty() || !found.bhos.empty()) ParasitesFound = kTrue;
    });
    logger_->Trace(ParasitesFound ? u"True" : u"False", source);
}

void CPaRemover::Perform() {
    RunAndReport(*logger_, u"CPaRemover.Perform", [this] { Decide(); });
}

void CPaRemover::Decide() {
    Text stamp;
    (void)registry_->ReadString(kStampRoot, kStampKey, kStampName, stamp);
    const bool isStamped = !stamp.empty();
    const Date stampedBoot = isStamped ? TextToDate(stamp) : Date{};
    const Date boot = GetBootTime();
    const bool isSameBoot =
        isStamped && std::abs(boot - stampedBoot) < kSameBoot - kLastBitsOfADate;

    if (!isStamped) {
        if (ParasitesFound &&
            Ask(WithIgnored(ResourceString(StringId::ParasitesFound)), MessageStyle::Exclamation)) {
            CleanUp();
        }
        return;
    }
    if (!isSameBoot) {
        // Parasites that outlived a cleanup and a restart get no second offer, on purpose.
        if (!ParasitesFound) DeleteStamp();
        return;
    }
    const Text offer = ParasitesFound ? WithIgnored(ResourceString(StringId::ParasitesStillFound))
                                      : ResourceString(StringId::RestartStillNeeded);
    if (!Ask(offer, MessageStyle::Exclamation)) {
        DeleteStamp();
        return;
    }
    if (ParasitesFound) {
        CleanUp();
    } else {
        RestartWindowsAndEnd(*logger_, u"CPaRemover.Perform");
    }
}

Text CPaRemover::WithIgnored(const Text& question) const {
    if (ignored_.empty()) return question;
    return question + u"\r\n \r\n" + IgnoredText(ignored_.size()) + u'.';
}

void CPaRemover::CleanUp() {
    const Text source = u"CPaRemover.CleanUp";
    const bool hasRights = TheMachine().System().IsUserAnAdmin();
    if (!hasRights && !Ask(StringId::AskWithoutRights, MessageStyle::Exclamation)) return;
    TheToolkit().SetPointer(Pointer::Hourglass);
    RunAndReport(*logger_, source, [&] {
        const RecordedOperation operation(UndoOperation::kCleanUp);
        logger_->Trace(u"CleanUp started", source);
        RemoveParasites();
        RestoreConfigurationSettings();
        if (TellIfNotKept(*logger_, source)) return;
        if (Ask(StringId::CleanUpComplete, MessageStyle::Information)) StampAndRestart();
    });
    TheToolkit().SetPointer(Pointer::Default);
}

Detection CPaRemover::FindParasites() {
    CPaDetector detector;
    detector.Init(logger_, nullptr);
    Detection found = detector.Detect(false);
    ignored_ = PassOver(logger_).TakeFrom(found);
    return found;
}

/// The order keeps parasites from restoring one another: first the registrations, then the names of
/// the files while their holders still run, then all holders in one pass.
void CPaRemover::RemoveParasites() {
    CBHOManager bhoManager;
    bhoManager.Init(logger_);
    CProcessManager processManager;
    processManager.Init(logger_);
    CStartupManager startupManager;
    startupManager.Init(logger_);

    const Detection found = FindParasites();
    KeyedList files;
    for (const Finding& file : found.files) files.Add(file.path, file.path);
    for (const HelperObject& bho : found.bhos) bhoManager.DeleteBHO(bho.clsid, bho.view);
    // Other files keep their startup entries, which point at a name that is no more.
    for (const Variant& file : files) {
        if (!FitsTheCodePage(file.AsText())) startupManager.RemoveStartup(file.AsText());
    }
    processManager.RenameParasiteFilesEx(files);
    processManager.TerminateProcessesByModules(files, true);
}

/// The stamp is written first, so that it is there whether or not the restart works.
void CPaRemover::StampAndRestart() {
    const Text source = u"CPaRemover.CleanUp";
    const Status stamped =
        registry_->WriteString(kStampRoot, kStampKey, kStampName, DateToText(GetBootTime()));
    LogRefusedChange(*logger_, stamped, u"write the cleanup stamp", source);
    RestartWindowsAndEnd(*logger_, source);
}

void CPaRemover::DeleteStamp() {
    const RecordedOperation operation(UndoOperation::kBookkeeping);
    const Status deleted = registry_->DeleteValue(kStampRoot, kStampKey, kStampName);
    if (deleted.IsNotThere()) return;
    LogRefusedChange(*logger_, deleted, u"delete the cleanup stamp", u"CPaRemover.Perform");
}

void CPaRemover::RestoreConfigurationSettings() {
    const Text source = u"CPaRemover.RestoreConfigurationSettings";
    const RecordedOperation operation(UndoOperation::kRestoreSettings);
    LogErrors(*logger_, LogLevel::SystemFailure, source, [&] {
        logger_->Trace(u"Restoring all configuration settings", source);
        RestoreSettings(*registry_, *logger_, source);
    });
}

}  // namespace bkfd
