#include <algorithm>
#include <set>

#include "cli/decode/ReportDecoder.h"
#include "common/MemorySource.h"
#include "formats/Base64.h"
#include "formats/Zip.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

namespace {

constexpr std::size_t kLimit = 64 * 1024;

Bytes Raw(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes Packed(const Bytes& envelope) {
    Bytes archive;
    ZipWriter writer([&](auto more) { archive.insert(archive.end(), more.begin(), more.end()); });
    writer.Add({u"a.xml", 40'000, 32, false, {}, {}}, MemoryReader(envelope));
    writer.Finish({});
    return archive;
}

Bytes Posted(const Bytes& archive) {
    const std::string value = ToUtf8(Replace(EncodeBase64(archive), u"+", u"%2B"));
    return Raw("subject=x&value=" + value);
}

bool IsSafe(const std::string& name) {
    const auto isPlain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               c == '_' || c == '-' || c == '.';
    };
    return !name.empty() && name.size() < 120 && name.front() != '.' &&
           std::ranges::all_of(name, isPlain);
}

/// All of an answer as one text; what it promises of files holds.
std::string Describe(const std::variant<DecodedReport, std::string>& decoded) {
    if (const auto* error = std::get_if<std::string>(&decoded)) return "error: " + *error;
    const auto& report = std::get<DecodedReport>(decoded);
    std::string text = ToWtf8(report.category) + "\n" + ToWtf8(report.id) + "\n";
    std::size_t total = 0;
    std::set<std::string> names;
    for (const DecodedFile& file : report.files) {
        Require(IsSafe(file.name), "a file's name is no path");
        Require(names.insert(file.name).second, "each file has a name of its own");
        total += file.content.size();
        text += file.name + "=" + std::string(file.content.begin(), file.content.end()) + "\n";
    }
    Require(total <= kLimit, "the files keep to the limit");
    for (const Text& path : report.suspiciousFiles) text += ToWtf8(path) + "\n";
    for (const std::string& problem : report.problems) text += problem + "\n";
    Require(!report.files.empty() || !report.problems.empty(), "nothing is told as nothing");
    return text;
}

/// The input as the content of an entry.
void CheckContent(const Bytes& input) {
    const std::string head = "<?xml version='1.0'?><xml><Log>";
    const std::string entry = ToUtf8(EncodeBase64(input));
    if (entry.size() > kLimit) return;
    const auto decoded = DecodeReport(Raw(head + entry + "</Log></xml>"), kLimit);
    const auto* report = std::get_if<DecodedReport>(&decoded);
    Require(report != nullptr && report->files.size() == 1 && report->problems.empty() &&
                report->files[0].content == input,
            "an entry's bytes arrive as they were sent");
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    const std::string documents =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" ?><xml><cat>BKFD\\a</cat><id>1</id>"
        "<name>A &amp; &#1087;</name><SuspiciousFiles>PHhtbD48ZiBpPSdDOlwmIzgyMzg7Jy8+PC94bWw+"
        "</SuspiciousFiles><Processes>//48AFAAcwA+ADwALwBQAHMAPgA=</Processes><Log>QUJD</Log></"
        "xml>";
    const std::string odd =
        "<?xml version='1.0'?><xml>t<a.b x='1'>c<!--d--><![CDATA[e]]><f/></a.b><a_b/><Log>*</Log>"
        "<?p q?><g>&#0;</g></xml>";
    return {Raw(documents), Raw(odd), Packed(Raw("<?xml version='1.0'?><xml><a>b</a></xml>")),
            Posted(Packed(Raw("<?xml version='1.0'?><xml/>")))};
}

/// An answer keeps to its limit, and is the same for all forms of one report.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    const std::string answer = Describe(DecodeReport(input, kLimit));
    CheckContent(input);
    if (!std::string_view(reinterpret_cast<const char*>(data), size).starts_with("<?xml")) return 0;
    const Bytes archive = Packed(input);
    Require(Describe(DecodeReport(archive, kLimit)) == answer,
            "an archive is read as its envelope");
    Require(Describe(DecodeReport(Posted(archive), kLimit)) == answer,
            "a posted body is read as its archive");
    return 0;
}
