#include "panels/ucHelp.h"

#include "resources/StringTable.h"
#include "ui/Metrics.h"

namespace bkfd {

ucHelp::ucHelp(Container& parent, Text name) : TabPanel(parent, std::move(name)) {
    lblDescr.SetLeft(Metrics::kGap);
    lblDescr.SetTop(Metrics::kGap);
    onResize = [this] {
        lblDescr.SetWidth(Width() - lblDescr.Left() * 3 / 2);
        lblDescr.SetHeight(Height() - lblDescr.Top());
    };
}

void ucHelp::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    lblDescr.SetCaption(ResourceString(StringId::HelpDescription));
}

}  // namespace bkfd
