#pragma once

#include <functional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "base/Text.h"

/// The support side: a report as it was posted, back into what a person can read.
namespace bkfd {

/// One entry of a report as a file: indented UTF-8 for XML documents, UTF-8 for plain texts, the
/// bytes that were sent for everything else.
struct DecodedFile {
    std::string name;  // safe as a file name: letters, digits, "_", "-", "." and never a path
    Bytes content;
    bool isAsSent = false;
};

struct DecodedReport {
    Text category;
    Text id;
    std::vector<DecodedFile> files;     // in the report's order
    std::vector<Text> suspiciousFiles;  // the paths in the document of suspicious files
    std::vector<std::string> problems;  // a clause for each thing that is not as it should be
};

/// What the files of a report may take together, in bytes, where nobody says otherwise.
inline constexpr std::size_t kUsualReportLimit = std::size_t{64} << 20;
inline constexpr std::size_t kNoReportLimit = std::size_t{1} << 40;

/// Is given each file as soon as it is complete.
using DecodedFileSink = std::function<void(DecodedFile)>;

/// Takes a posted form body, the zip archive in it, or the XML envelope in that. The alternative is
/// one clause that says what is wrong with the whole, such as files of more than `limit` bytes
/// together or an envelope of more than twice that; what the sink was given is worth nothing then.
/// Nothing but the input and one entry is held in memory. An error of the sink goes to the caller.
std::variant<DecodedReport, std::string> DecodeReport(std::span<const std::uint8_t> input,
                                                      std::size_t limit,
                                                      const DecodedFileSink& sink);
/// The same with the files in the report.
std::variant<DecodedReport, std::string> DecodeReport(std::span<const std::uint8_t> input,
                                                      std::size_t limit = kUsualReportLimit);

/// A path as the Safe Remover's paste takes it: base64 of its UTF-16LE bytes.
Text EncodeForPaste(TextView path);

}  // namespace bkfd
