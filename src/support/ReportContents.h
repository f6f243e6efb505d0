#pragma once

#include <optional>

#include "resources/StringTable.h"
#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// What the user wrote.
struct SupportRequest {
    Text name;
    Text email;
    Text answer;  // the description of the problem
};

/// The string that asks for what is missing of a request: the description, which the panel's
/// placeholder isn't, the name, the address, in this order. Blanks are taken as they are.
std::optional<StringId> WhatIsMissing(const SupportRequest& request);

/// The kind of report that the support panel sends.
inline constexpr TextView kSupportCategory = u"BKFD\\SupportRequest";

/// Gathers the report's entries into an empty bag, in the order in which they are sent. Pending
/// messages are let run in between. A missing source gives an empty entry; an error goes to the
/// caller.
void GatherReport(const SupportRequest& request, const LoggerRef& logger, ValueBag& report);

}  // namespace bkfd
