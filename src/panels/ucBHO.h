#pragma once

#include <memory>
#include <optional>

#include "identity/CFileChecker.h"
#include "panels/TabPanel.h"
#include "services/ItemList.h"
#include "services/RegistryAccess.h"
#include "ui/Button.h"
#include "ui/Label.h"
#include "ui/ListView.h"
#include "ui/Menu.h"
#include "ui/TextBox.h"

namespace bkfd {

/// The panel of step 1: the registered browser helper objects, each with the file behind it, and
/// the deletion of one; those on the ignore list say so. The list is the registry's as of the last
/// refresh.
class ucBHO : public TabPanel {
  public:
    ucBHO(Container& parent, Text name);

    void Init(LoggerRef logger) override;
    ListView& ListViewObject() { return lv; }
    /// Reads the helper objects anew and selects the first.
    void RefreshList();

  private:
    std::shared_ptr<ItemList> EnumBHOs();
    void FillBHOInfo(const KeyedList& keyNames, ItemList& items, RegistryBase base);

    void cmdDelete_Click();
    void lv_ItemClick();
    void lv_KeyUp(int keyCode, int shift);
    void lv_MouseUp(int button);
    void mnuDelete_Click();
    void mnuIgnore_Click();
    void mnuStopIgnoring_Click();
    void mnuProperties_Click();
    void UserControl_Resize();

    void DeleteHelperObject(const ListItem& row);
    /// Puts ", ignored" behind the names that the ignore list holds, and their number into the
    /// label. The selection stays.
    void ShowIgnored();
    /// Runs a body whose failure is logged and otherwise passed over.
    template <class Body>
    void Guarded(TextView operation, Body&& body);

    LoggerRef logger_;
    ListItemRef contextItem_;  // the row of the last context action
    std::optional<CFileChecker> fileChecker_;

    Label Label4{*this, u"Label4", u"Detected Browser Helper Objects:"};
    ListView lv{*this, u"lv", {{u"Name", 0}}, {{u"li", u"HELPER"}}};
    Label lblFilename{*this, u"lblFilename", u"Related File:"};
    TextBox txtFilename{*this, u"txtFilename"};
    Button cmdDelete{*this, u"cmdDelete", u"&Delete Browser Helper Object"};

    MenuItem mnuContext{u"mnuContext", u"Context"};
    MenuItem mnuDelete{mnuContext, u"mnuDelete", u"&Delete"};
    MenuItem mnuIgnore{mnuContext, u"mnuIgnore", u"&Ignore"};
    MenuItem mnuStopIgnoring{mnuContext, u"mnuStopIgnoring", u"Stop &Ignoring"};
    MenuItem mnuContext1{mnuContext, u"mnuContext1", u"-"};
    MenuItem mnuProperties{mnuContext, u"mnuProperties", u"&Properties"};
};

}  // namespace bkfd
