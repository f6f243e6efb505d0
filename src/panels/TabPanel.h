#pragma once

#include "base/Variant.h"
#include "services/Logger.h"
#include "ui/Control.h"

namespace bkfd {

/// A panel behind one of the main window's tabs, which the window reaches by name.
class TabPanel : public Panel, public Object {
  public:
    using Panel::Panel;

    /// Called once, before the panel is shown.
    virtual void Init(LoggerRef logger) = 0;

    /// Members by name: "Init" with a reference to a variable that holds the logger.
    Variant Invoke(TextView name, std::span<Variant> arguments) override;
};

}  // namespace bkfd
