#pragma once

#include "cli/Console.h"
#include "cli/Json.h"
#include "cli/decode/ReportDecoder.h"

namespace bkfd {

/// A decoded entry as text: UTF-16 behind its mark, UTF-8, or else the machine's code page.
Text TextOf(const DecodedFile& file);

/// Every entry under its name, as a person reads it.
void PrintReport(const Console& console, const DecodedReport& report);
/// A list of {"name", "content"}.
Json EntriesToJson(const DecodedReport& report);

}  // namespace bkfd
