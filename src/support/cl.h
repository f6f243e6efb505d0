#pragma once

#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// Delivers reports to the maker's support endpoint.
class cl {
  public:
    /// Wraps the values in an XML envelope, zips it and posts it, and returns when the exchange has
    /// ended or 300 seconds have passed. `success` tells whether the endpoint took the report,
    /// `errorText` why not. The two temporary files stay after an exchange, whatever its end, and
    /// are deleted after any other failure. `logger` is accepted for the callers' sake.
    void Do1(LoggerRef logger, const Text& category, ValueBag& values, Text& errorText,
             bool& success);

  private:
    static void Escape(const Text& text, Text& result);
};

/// The envelope of a report as one text: category, identifier, and an element for each value of
/// each parameter. Parameter names become element names as they stand.
Text MakeEnvelope(const Text& category, const Text& id, ValueBag& values);

/// Writes the envelope and the archive that holds it, and gives the archive encoded for the post.
Text PackEnvelope(const Text& envelope, const Text& envelopeFile, const Text& archiveFile);

}  // namespace bkfd
