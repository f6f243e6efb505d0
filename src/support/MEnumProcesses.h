#pragma once

#include "services/Logger.h"

namespace bkfd {

/// Describes what runs on the machine apart from what is known to be harmless. Returns the document
/// of processes with their modules and hands back the one of the files named in it. Both are XML,
/// one character a byte: UTF-16LE behind its mark on the NT family, ISO-8859-1 with a declaration
/// on the 9x family. An error goes to the caller.
Text MakeProcessReport(Text& filesDocument, const LoggerRef& logger);

}  // namespace bkfd
