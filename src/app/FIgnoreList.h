#pragma once

#include <vector>

#include "ignore/IgnoreList.h"
#include "services/Logger.h"
#include "ui/HidingForm.h"
#include "ui/Label.h"
#include "ui/ListView.h"
#include "ui/Picture.h"

namespace bkfd {

/// The window that shows what is ignored and takes entries off the list. The opener unloads it.
class FIgnoreList : public HidingForm {
  public:
    FIgnoreList();

    /// Called once, before the window is shown. What is to be said instead of showing it: that
    /// nothing is ignored, or what is wrong with the list. Empty if there is an entry.
    Text Init(LoggerRef logger);

    /// Raised when an entry was taken off, while the window is still there.
    Event<> Changed;

  private:
    void RefreshList();
    void cmdStop_Click();
    void Form_Resize();

    LoggerRef logger_;
    IgnoreList list_;

    Picture Image1{*this, u"Image1", u"ABOUT"};
    Label Label1{*this, u"Label1",
                 u"What stands here is passed over when Brackenfold looks for parasites. Specify "
                 u"entry then press \"Stop Ignoring\" button to have it found again."};
    Label Label2{*this, u"Label2", u"&Ignored:"};
    ListView lv;
    Button cmdStop{*this, u"cmdStop", u"&Stop Ignoring"};
    Button cmdClose{*this, u"cmdClose", u"&Close"};
};

/// What to tell of a list that can't be used: its file and what is wrong. Empty for a good one.
Text DamageMessage(const IgnoreList& list);

}  // namespace bkfd
