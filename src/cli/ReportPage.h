#pragma once

#include <string>

#include "cli/Json.h"

namespace bkfd {

/// One page of HTML with all that it needs in it: `data` is {"record": the record of a scan} or
/// {"undo": the document of an undo}. Its script makes text of the data and nothing else.
std::string MakeReportPage(const Json& data);
/// Writes such a page to a new file. A CommandError if it is there already, or can't be written.
void WriteReportPage(const std::string& path, const Json& data);

}  // namespace bkfd
