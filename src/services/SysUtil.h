#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/Variant.h"
#include "services/KeyedList.h"

namespace bkfd {

/// Small services of the system. Failures are RuntimeErrors.
namespace SysUtil {

/// A text that no other call yields, usable in file names and as an `Id`.
Text NewUniqueId();
/// Replaces "%1" with element 0, "%2" with element 1 and so on, in one pass: text that comes from
/// an argument isn't searched again. The longest number that has an argument counts ("%12" with two
/// arguments is the first and a "2"); one without an argument stays as it is.
Text FormatTemplate(TextView format, const std::vector<Variant>& arguments);
/// Makes a new empty temporary file and returns its full name; the file's name begins with
/// `prefix`.
Text GetTempFileName(const Text& prefix);
/// Lets the window system process pending messages once.
void PumpMessages();
/// Replaces each `%name%` with the variable's value; text without such a name stays as it is.
Text ExpandEnvironment(const Text& text);
/// The version facts and a readable text of them, "Windows XP 5.1.2600 Service Pack 2".
/// `platformId` is one of `WindowsPlatform`. If the system doesn't tell, all are 0 and empty.
Text GetWindowsVersion(std::int32_t& major, std::int32_t& minor, std::int32_t& build,
                       std::int32_t& platformId, Text& servicePack);
/// Base64 of one byte a character; `TextToBytes` is the inverse. A text with a character above 255
/// is encoded as generalised UTF-8 behind the mark EF BB BF instead, so that nothing is lost.
Text EncodeText(TextView text);
/// The user's temporary folder.
Text GetTempPath();
/// Base64 of the bytes.
Text BytesToText(std::span<const std::uint8_t> bytes);
/// The inverse of both. Text that isn't base64 is InvalidProcedureCall.
Bytes TextToBytes(TextView text);
/// Makes text safe between two XML tags and in attributes, in plain ASCII: the five markup
/// characters, tab, line ends and everything above 126 become references, so that a parser gives
/// them back unchanged; what XML 1.0 forbids becomes U+FFFD.
Text XmlEscape(TextView text);
/// True for an array with no elements and for one never allocated.
bool IsArrayEmpty(const Bytes* bytes);
bool IsArrayEmpty(const Bytes& bytes);
/// The system's message text for an error code, without its line end.
Text SystemErrorText(std::uint32_t code);
/// The string fields of the file's version record under their field names ("FileDescription",
/// "CompanyName", ...); an empty list for a file that has none or doesn't exist.
KeyedList GetVersionStrings(const Text& path);
/// One field of such a list, or `otherwise` where there is none of that name.
Text VersionString(const KeyedList& strings, TextView name, const Text& otherwise = {});

}  // namespace SysUtil
}  // namespace bkfd
