#pragma once

#include <memory>

#include "app/FProgressor.h"
#include "panels/TabPanel.h"
#include "support/ReportContents.h"
#include "ui/Button.h"
#include "ui/Label.h"
#include "ui/Picture.h"
#include "ui/TextBox.h"

namespace bkfd {

/// The panel of step 3: takes the user's description of the problem and sends it with the report.
/// What the user typed stays after a request.
class ucSupport : public TabPanel {
  public:
    ucSupport(Container& parent, Text name);

    void Init(LoggerRef logger) override;
    /// The work of a request, while the progress window is on the screen. A failure is logged and
    /// shown.
    void moProgressor_Started();
    /// Whether a request is under way, which goes on when the user closes the progress window.
    bool IsWorking() const { return moProgressor != nullptr; }

  private:
    void cmdRequestSupport_Click();
    void Image1_DblClick();
    void UserControl_Resize();

    SupportRequest Request() const;
    void AskFor(StringId missing);
    void ShowRunning(bool isRunning);
    void RunRequest();
    void SendReport();

    LoggerRef logger_;
    std::unique_ptr<FProgressor> moProgressor;
    bool isWorking_ = false;
    bool requestSucceeded_ = false;
    Text errorText_;

    Label lblFirst{*this, u"lblFirst"};
    Picture Image1{*this, u"Image1", u"SUPPORT"};
    TextBox txtAnswers{*this, u"txtAnswers", TextBox::Lines::Many};
    Label lblName{*this, u"lblName", u"Your &Name:"};
    TextBox txtName{*this, u"txtName"};
    Label lblEmail{*this, u"lblEmail", u"Your &E-mail:"};
    TextBox txtEmail{*this, u"txtEmail"};
    Label lblStatus{*this, u"lblStatus", u"Sending request..."};
    Button cmdRequestSupport{*this, u"cmdRequestSupport", u"&Request Support"};
};

}  // namespace bkfd
