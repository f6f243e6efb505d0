#include "panels/TabPanel.h"

#include "base/RuntimeError.h"

namespace bkfd {

Variant TabPanel::Invoke(TextView name, std::span<Variant> arguments) {
    if (name != u"Init" || arguments.size() != 1) return Object::Invoke(name, arguments);
    LoggerRef logger = AsLogger(arguments[0].AsObject());
    if (logger == nullptr) throw RuntimeError(ErrorNumber::TypeMismatch);
    Init(std::move(logger));
    return {};
}

}  // namespace bkfd
