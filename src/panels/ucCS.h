#pragma once

#include "panels/TabPanel.h"
#include "ui/Button.h"
#include "ui/Label.h"
#include "ui/ListView.h"

namespace bkfd {

/// The panel of step 2: the settings that decide which page the browser opens, each with a
/// judgement, and a button that puts all of them back.
class ucCS : public TabPanel {
  public:
    ucCS(Container& parent, Text name);

    void Init(LoggerRef logger) override;
    ListView& ListViewObject() { return lv; }
    /// Reads all settings anew.
    void RefreshList();

  private:
    void AddSetting(const Text& description, const Text& status, const Text& value);
    void cmdRestore_Click();
    void UserControl_Resize();

    LoggerRef logger_;

    Label Label4{*this, u"Label4", u"Configuration settings affecting the home page:"};
    ListView lv;
    Label lblFilename{*this, u"lblFilename", u"All settings containing empty values are skipped"};
    Button cmdRestore{*this, u"cmdRestore", u"&Restore All Configuration Settings"};
};

}  // namespace bkfd
