#pragma once

#include "services/ItemList.h"
#include "services/Logger.h"

namespace bkfd {

/// The number in the log of a request that failed.
inline constexpr auto kRequestFailed = static_cast<std::int32_t>(0x8004038A);

/// A report on its way: what it is called and where its two files lie. Names are empty until they
/// are known.
struct PackedReport {
    Text category;
    Text id;
    Text envelopeFile;
    Text archiveFile;
};

/// Delivers reports to the maker's support endpoint.
class cl {
  public:
    /// Wraps the values in an XML envelope, zips it and posts it, and returns when the exchange has
    /// ended or 300 seconds have passed. `success` tells whether the endpoint took the report,
    /// `errorText` why not. The two temporary files stay after an exchange, whatever its end, and
    /// are deleted after any other failure. `logger` is accepted for the callers' sake.
    void Do1(const LoggerRef& logger, const Text& category, ValueBag& values, Text& errorText,
             bool& success);

  private:
    static Text FormBody(const PackedReport& report);
    static void Escape(const Text& text, Text& result);
};

/// The envelope of a report as one text: category, identifier, and an element for each value of
/// each parameter. Parameter names become element names as they stand.
Text MakeEnvelope(const Text& category, const Text& id, ValueBag& values);

/// Takes the category, each "/" a "\", and a fresh identifier.
void NameReport(const Text& category, PackedReport& report);
/// Writes the envelope and the archive that holds it to the temporary folder, each as a new file. A
/// failure is a RuntimeError, and `report` then names what may have been written; one of the
/// packing shows in the archive's absence alone. No undo records it.
void PackEnvelope(const Text& envelope, PackedReport& report);

}  // namespace bkfd
