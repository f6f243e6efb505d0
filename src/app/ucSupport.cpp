#include "app/ucSupport.h"

#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "support/ReportContents.h"
#include "support/cl.h"
#include "ui/Keys.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

constexpr int kIntroductionHeight = 1050;
constexpr int kFieldLabelWidth = 1050;
constexpr int kRequestWidth = 1800;

}  // namespace

ucSupport::ucSupport(Container& parent, Text name) : TabPanel(parent, std::move(name)) {
    lblStatus.SetVisible(false);
    cmdRequestSupport.onClick = [this] { cmdRequestSupport_Click(); };
    Image1.onDoubleClick = [this] { Image1_DblClick(); };
    onResize = [this] { UserControl_Resize(); };
}

void ucSupport::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    lblFirst.SetCaption(ResourceString(StringId::SupportIntroduction));
    txtAnswers.ShowPlaceholder(ResourceString(StringId::YourDescriptionHere));
}

SupportRequest ucSupport::Request() const {
    return {txtName.GetText(), txtEmail.GetText(), txtAnswers.GetText()};
}

void ucSupport::cmdRequestSupport_Click() {
    try {
        if (const auto missing = WhatIsMissing(Request())) return AskFor(*missing);
        TheToolkit().SetPointer(Pointer::Hourglass);
        RunRequest();
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger_->Failure(error, LogLevel::WindowFailure, u"ucSupport.cmdRequestSupport_Click");
        ShowMessage(error.Description(), MessageStyle::Information);
        TheToolkit().SetPointer(Pointer::Default);
    }
}

/// The field that is asked for gets the focus, with its placeholder ready to be typed over.
void ucSupport::AskFor(StringId missing) {
    ShowMessage(ResourceString(missing), MessageStyle::Exclamation);
    TextBox& field = missing == StringId::TypeName    ? txtName
                     : missing == StringId::TypeEmail ? txtEmail
                                                      : txtAnswers;
    if (&field == &txtAnswers) field.Select(0, field.GetText().size());
    field.SetFocus();
}

/// The user may close the progress window and use the others while the request goes on.
void ucSupport::ShowRunning(bool isRunning) {
    lblStatus.SetVisible(isRunning);
    cmdRequestSupport.SetEnabled(!isRunning);
}

/// A failure of one step is passed over: the user always hears how it ended.
void ucSupport::RunRequest() {
    ContinueOnError step;
    const bool hadFocus = cmdRequestSupport.HasFocus();
    step([this] { ShowRunning(true); });
    const Control* const focus = HostForm()->Focused();
    step([this] {
        moProgressor = std::make_unique<FProgressor>();
        moProgressor->Started = [this] { moProgressor_Started(); };
    });
    step([this] {
        moProgressor->ShowProgress(ResourceString(StringId::PleaseWait), HostForm(), true);
    });
    step([this] { moProgressor.reset(); });
    step([this] { ShowRunning(false); });
    step([&] {
        if (hadFocus && HostForm()->Focused() == focus) cmdRequestSupport.SetFocus();
    });
    const Text source = u"ucSupport.cmdRequestSupport_Click";
    if (requestSucceeded_) {
        step([&] { logger_->Trace(u"Requesting support", source); });
        step([] { ShowMessage(ResourceString(StringId::RequestSent), MessageStyle::Information); });
    } else {
        step([&] {
            logger_->Write(kRequestFailed, ResourceString(StringId::CannotContact) + errorText_,
                           LogLevel::WindowFailure, source);
        });
        step([] { TheToolkit().SetPointer(Pointer::Default); });
        step([] {
            ShowMessage(ResourceString(StringId::CannotSendRequest), MessageStyle::Exclamation);
        });
    }
    step([] { TheToolkit().SetPointer(Pointer::Default); });
}

void ucSupport::moProgressor_Started() {
    if (isWorking_) return;  // the window was activated again meanwhile
    isWorking_ = true;
    ContinueOnError step;
    step([this] { SendReport(); });
    if (const auto error = step.TakePending()) {
        logger_->Failure(*error, LogLevel::WindowFailure, u"ucSupport.moProgressor_Started");
        step([&] { ShowMessage(error->Description(), MessageStyle::Information); });
    }
    isWorking_ = false;
    TheToolkit().SetPointer(Pointer::Default);
    if (moProgressor != nullptr) moProgressor->Finalize();
}

/// A failure before the sending leaves the result of the request before, on purpose.
void ucSupport::SendReport() {
    ValueBag report;
    GatherReport(Request(), logger_, report);
    // What was passed over before the work began, as the progress window came up.
    if (const auto error = ContinueOnError::Pending()) {
        logger_->Failure(*error, LogLevel::WindowFailure, u"ucSupport.moProgressor_Started(.)");
    }
    bool success = false;
    cl delivery;
    delivery.Do1(logger_, Text(kSupportCategory), report, errorText_, success);
    requestSucceeded_ = success;
}

/// A second way to the main window's hidden command.
void ucSupport::Image1_DblClick() {
    auto* host = dynamic_cast<Object*>(HostForm());
    if (host == nullptr) return;
    Variant arguments[] = {std::int32_t{Key::F12}, std::int32_t{Shift::None}};
    host->Invoke(u"Form_KeyUp", arguments);
}

void ucSupport::UserControl_Resize() {
    using namespace Metrics;
    const int fieldWidth = Width() - kFieldLabelWidth - kRequestWidth - kGap;
    const int emailTop = Height() - kTextBoxHeight;
    const int nameTop = emailTop - kGap - kTextBoxHeight;
    const int labelShift = (kTextBoxHeight - kLabelHeight) / 2;
    const int answersTop = kPageTop + kIntroductionHeight + kLabelGap;
    lblFirst.SetBounds({0, kPageTop, Width() - kPictureSize - kGap, kIntroductionHeight});
    Image1.SetBounds({Width() - kPictureSize, kPageTop, kPictureSize, kPictureSize});
    txtAnswers.SetBounds({0, answersTop, Width(), nameTop - kGap - answersTop});
    lblName.SetBounds({0, nameTop + labelShift, kFieldLabelWidth, kLabelHeight});
    txtName.SetBounds({kFieldLabelWidth, nameTop, fieldWidth, kTextBoxHeight});
    lblEmail.SetBounds({0, emailTop + labelShift, kFieldLabelWidth, kLabelHeight});
    txtEmail.SetBounds({kFieldLabelWidth, emailTop, fieldWidth, kTextBoxHeight});
    lblStatus.SetBounds(
        {Width() - kRequestWidth, nameTop + labelShift, kRequestWidth, kLabelHeight});
    cmdRequestSupport.SetBounds(
        {Width() - kRequestWidth, Height() - kButtonHeight, kRequestWidth, kButtonHeight});
}

}  // namespace bkfd
