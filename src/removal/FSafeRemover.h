#pragma once

#include "services/Logger.h"
#include "ui/HidingForm.h"
#include "ui/Label.h"
#include "ui/Picture.h"
#include "ui/TextBox.h"

namespace bkfd {

/// The window that disables the files that the user names, usually on the advice of support: it
/// renames them, ends their holders, repairs the settings and restarts Windows. The opener unloads
/// it.
class FSafeRemover : public HidingForm {
  public:
    FSafeRemover();

    /// Called once, before the window is shown.
    void Init(LoggerRef logger) { logger_ = std::move(logger); }

    /// Raised when files were disabled and the settings repaired, and Windows isn't restarted.
    Event<> Disabled;

  private:
    void Form_Load();
    void Form_KeyUp(int keyCode, int shift);
    void Form_Resize();
    void Image1_DblClick();
    void txtFiles_KeyDown(int& keyCode, int shift);
    void cmdDisableParasites_Click();
    void cmdPaste_Click();
    void cmdFindSuspiciousFiles_Click();

    void FindSuspiciousFiles();
    void Paste(const Text& clipboard);
    void SetFiles(Text text);
    void ToggleSearchButton(const Text& source);

    LoggerRef logger_;

    Picture Image1{*this, u"Image1", u"SAFEREMOVER"};
    Label lbl1{*this, u"lbl1"};
    Label lbl2{*this, u"lbl2"};
    TextBox txtFiles{*this, u"txtFiles", TextBox::Lines::Many};
    Button cmdDisableParasites{*this, u"cmdDisableParasites", u"&Disable Parasites"};
    Button cmdPaste{*this, u"cmdPaste", u"&Paste"};
    Button cmdFindSuspiciousFiles{*this, u"cmdFindSuspiciousFiles", u"&Find Suspicious Files"};
    Button cmdCancel{*this, u"cmdCancel", u"&Close"};
};

}  // namespace bkfd
