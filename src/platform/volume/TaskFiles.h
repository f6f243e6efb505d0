#pragma once

#include <optional>
#include <vector>

#include "base/Text.h"
#include "formats/LittleEndian.h"

/// The files in which Windows keeps scheduled tasks.
namespace bkfd {

/// What a task does, as far as a start of Windows or a logon has it done.
struct ScheduledTask {
    /// Enabled, with an enabled trigger of the start or of a logon.
    bool isStartedWithWindows = false;
    std::vector<Text> commandLines;
    std::vector<Text> classes;  // of objects that the scheduler makes: "{...}"
};

/// Reads a ".job" file of Windows 98 to Server 2003, after section 2.4 of Microsoft's MS-TSCH.
/// Nothing for what is none or ends early.
std::optional<ScheduledTask> ReadJobFile(ByteView bytes);
/// Reads a task in XML, as Windows has them since Vista, in UTF-16 or UTF-8. Nothing for what isn't
/// well-formed or has a document type.
std::optional<ScheduledTask> ReadTaskXml(ByteView bytes);

}  // namespace bkfd
