#pragma once

#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// What the user wrote.
struct SupportRequest {
    Text name;
    Text email;
    Text answer;  // the description of the problem
};

/// The number of the string that asks for what is missing of a request, or 0: the description,
/// which the panel's placeholder isn't, the name, the address, in this order. Blanks are taken as
/// they are.
int WhatIsMissing(const SupportRequest& request);

/// The kind of report that the support panel sends.
inline constexpr TextView kSupportCategory = u"BKFD\\SupportRequest";

/// Gathers the report's entries into an empty bag, in the order in which they are sent. Pending
/// messages are let run in between. A missing source gives an empty entry; an error goes to the
/// caller.
void GatherReport(const SupportRequest& request, LoggerRef logger, ValueBag& report);

}  // namespace bkfd
