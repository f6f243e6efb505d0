#pragma once

#include <string>

#include "cli/Console.h"
#include "support/ReportContents.h"

namespace bkfd {

/// What the command line says of a support request.
struct RequestOptions {
    std::string name;
    std::string email;
    std::string textFile;  // "-" for standard input
};

/// The request as far as the options give it. The description gets the line ends of Windows, as a
/// text box would hold them. A file that can't be read is a CommandError.
SupportRequest RequestFrom(const RequestOptions& options, Console& console);

/// Asks on the terminal for what is still missing: a line for the name, one for the address, and
/// the description up to an empty line.
void AskForMissing(SupportRequest& request, Console& console);

/// A CommandError that says what is missing, if anything is.
void CheckComplete(const SupportRequest& request);

}  // namespace bkfd
