#include "app/FMain.h"

#include "app/FIgnoreList.h"
#include "app/FSplash.h"
#include "app/MMain.h"
#include "app/OtherProgram.h"
#include "identity/ApplicationStart.h"
#include "platform/Machine.h"
#include "removal/CPaRemover.h"
#include "resources/ComponentIds.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr char16_t kInitialize[] = u"FMain.Form_Initialize";
constexpr char16_t kLoad[] = u"FMain.Form_Load";

Text VersionLine() {
    return ResourceString(StringId::ProgramTitle) + u" ver." + ProgramVersion();
}

ObjectRef CreateCustomObject() {
    const auto created = TheMachine().ComponentObjects().CoCreateInstance(
        {ComponentIds::CustomProgId, ComponentIds::CustomClassId, ComponentIds::CustomFile});
    if (!created.IsOk()) {
        throw RuntimeError(ErrorNumber::CannotCreateObject,
                           RuntimeError(ErrorNumber::CannotCreateObject).Description() + u": " +
                               SysUtil::SystemErrorText(created.code));
    }
    return created.value;
}

/// Ends at once if the window has gone meanwhile, by its timer or by a click.
void WaitForSplash(const FSplash* splash) {
    while (splash != nullptr && splash->Visible()) TheToolkit().WaitForInput();
}

}  // namespace

FMain::FMain() : Form(u"FMain") {
    OfferLibraryClass();
    ConnectWindow();
}

void FMain::Form_Initialize() {
    ContinueOnError step;
    OpenLogs(step);
    RunCustomObject(step);
    RequireComponents(step);

    std::unique_ptr<FSplash> splash;
    step([&] { splash = std::make_unique<FSplash>(); });
    step([&] { splash->Show(); });
    step([] { TheToolkit().SetPointer(Pointer::Hourglass); });
    step([] { SysUtil::PumpMessages(); });
    step([] { SysUtil::PumpMessages(); });
    SetApplicationState(step);

    CPaRemover remover;
    step([&] { remover.Init(logger_); });
    step([&] { remover.Check(); });
    step([&] { SetCaption(ResourceString(StringId::ProgramTitle)); });
    LogPendingError(step);

    step([&] { WaitForSplash(splash.get()); });
    step([] { TheToolkit().SetPointer(Pointer::Default); });
    splash.reset();
    step([&] { TellOfOtherProgram(*logger_); });
    step([&] { TellOfDamagedIgnoreList(); });
    step([&] { remover.Perform(); });
}

void FMain::Form_Load() {
    const LoggerRef logger = logger_;
    LogErrors(*logger, LogLevel::WindowFailure, kLoad, [this] {
        BackupRegistry();
        InitPanels();
        LogTabState();
    });
}

void FMain::OpenLogs(ContinueOnError& step) {
    step([&] { logger_ = MakeFileLogger(); });
    step([&] { logger_->Open(ProgramFolder() + u"\\BKFD.log", ProgramFolder() + u"\\short.log"); });
    step([&] { logger_->Trace(u"********** start app", kInitialize); });
    step([&] { logger_->Trace(VersionLine(), kInitialize); });
    step([&] { logger_->Trace(u"Startup: " + FormatDate(GetBootTime()), kInitialize); });
}

void FMain::RunCustomObject(ContinueOnError& step) {
    ObjectRef custom;
    Variant variable[] = {logger_};
    step([&] { custom = CreateCustomObject(); });
    // Called even where there is none: the pending error is then the call's.
    step([&] { Variant(custom).AsObject()->Invoke(u"Init", variable); });
    step([&] { logger_ = CastToLogger(variable[0]); });
}

void FMain::RequireComponents(ContinueOnError& step) {
    Text message;
    if (CheckComponents(message)) return;
    step([&] { ShowMessage(message, MessageStyle::Critical); });
    step([&] { logger_->Write(0, message, LogLevel::WindowFailure, kInitialize); });
    TheToolkit().EndProgram();
}

void FMain::LogPendingError(ContinueOnError& step) {
    const auto pending = step.TakePending();
    if (!pending) return;
    step([&] { logger_->Failure(*pending, LogLevel::SystemFailure, kInitialize); });
    (void)step.TakePending();
}

void FMain::TellOfDamagedIgnoreList() {
    const Text message = DamageMessage(IgnoreList::Read());
    if (!message.empty()) ShowMessage(message, MessageStyle::Exclamation);
}

LoggerRef FMain::CastToLogger(const Variant& variable) {
    LoggerRef logger = AsLogger(variable.AsObject());
    if (logger == nullptr) throw RuntimeError(ErrorNumber::TypeMismatch);
    return logger;
}

}  // namespace bkfd
