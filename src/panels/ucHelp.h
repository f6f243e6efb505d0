#pragma once

#include "panels/TabPanel.h"
#include "ui/Label.h"

namespace bkfd {

/// The panel of the first tab: what the program is for.
class ucHelp : public TabPanel {
  public:
    ucHelp(Container& parent, Text name);

    void Init(LoggerRef logger) override;

  private:
    LoggerRef logger_;
    Label lblDescr{*this, u"lblDescr"};
};

}  // namespace bkfd
