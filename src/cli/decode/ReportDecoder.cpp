#include "cli/decode/ReportDecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <set>
#include <stdexcept>

#include "base/Utf16Bytes.h"
#include "formats/Base64.h"
#include "formats/Zip.h"

namespace bkfd {
namespace {

/// What is wrong with the input; never leaves this file.
struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr std::size_t kLargestEnvelope = std::size_t{1} << 30;
// Reports have twelve entries, whose documents are three elements deep. Each entry becomes a file,
// and each level of a document is indented further.
constexpr std::size_t kMostEntries = 1000;
constexpr int kDeepestElement = 64;

enum class Form { Plain, Xml, Bytes };

/// How entries are sent and what their files are called. Entries that aren't listed are plain.
struct EntryForm {
    const char* name;
    const char* file;
    Form form;
};
constexpr EntryForm kEntries[] = {
    {"SuspiciousFiles", "SuspiciousFiles.xml", Form::Xml},
    {"ZoneMap", "ZoneMap.reg", Form::Bytes},
    {"Hosts", "Hosts", Form::Bytes},
    {"Log", "Log", Form::Bytes},
    {"FNHWLog", "FNHWLog", Form::Bytes},
    {"Processes", "Processes.xml", Form::Xml},
    {"ProcessFileInfo", "ProcessFileInfo.xml", Form::Xml},
};

bool StartsWith(std::span<const std::uint8_t> bytes, std::string_view prefix) {
    return bytes.size() >= prefix.size() &&
           std::memcmp(bytes.data(), prefix.data(), prefix.size()) == 0;
}

Bytes FromString(std::string_view text) {
    return {text.begin(), text.end()};
}

/// application/x-www-form-urlencoded, one value.
std::string FormDecode(std::string_view value) {
    const auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    std::string out;
    out.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        const bool isEscape = value[i] == '%' && i + 2 < value.size() && digit(value[i + 1]) >= 0 &&
                              digit(value[i + 2]) >= 0;
        if (isEscape) {
            out += static_cast<char>(digit(value[i + 1]) * 16 + digit(value[i + 2]));
            i += 2;
        } else {
            out += value[i] == '+' ? ' ' : value[i];
        }
    }
    return out;
}

/// The field's value in a form body, if the body has it.
std::optional<std::string> FormField(std::string_view body, std::string_view name) {
    while (!body.empty()) {
        const std::string_view field = body.substr(0, body.find('&'));
        if (field.starts_with(name) && field.substr(name.size()).starts_with('=')) {
            return FormDecode(field.substr(name.size() + 1));
        }
        body.remove_prefix(std::min(body.size(), field.size() + 1));
    }
    return std::nullopt;
}

Bytes DecodeEntry(std::string_view base64, const char* what) {
    auto bytes = DecodeBase64(FromUtf8(base64));
    if (!bytes) throw Malformed(std::string(what) + " isn't valid base64");
    return *std::move(bytes);
}

class SpanSource : public ByteSource {
  public:
    explicit SpanSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::uint64_t Size() override { return bytes_.size(); }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        if (offset > bytes_.size() || buffer.size() > bytes_.size() - offset) return false;
        std::ranges::copy(bytes_.subspan(static_cast<std::size_t>(offset), buffer.size()),
                          buffer.begin());
        return true;
    }

  private:
    std::span<const std::uint8_t> bytes_;
};

Bytes EnvelopeOfArchive(std::span<const std::uint8_t> archive) {
    SpanSource source(archive);
    const auto directory = ReadZipDirectory(source);
    if (!directory) throw Malformed("the archive is cut or damaged");
    const auto envelope = std::ranges::find_if(
        directory->entries, [](const ZipEntry& entry) { return entry.name.ends_with(".xml"); });
    if (envelope == directory->entries.end()) throw Malformed("the archive holds no envelope");
    auto content = ReadZipEntry(source, *envelope, {}, kLargestEnvelope);
    if (!content) throw Malformed("the envelope in the archive can't be unpacked");
    return *std::move(content);
}

Bytes EnvelopeOf(std::span<const std::uint8_t> input) {
    if (StartsWith(input, "PK")) return EnvelopeOfArchive(input);
    if (StartsWith(input, "<?xml")) return {input.begin(), input.end()};
    const std::string_view body(reinterpret_cast<const char*>(input.data()), input.size());
    const auto value = FormField(body, "value");
    if (!value) throw Malformed("it is no posted report, archive or envelope");
    const Bytes archive = DecodeEntry(*value, "the posted archive");
    if (!StartsWith(archive, "PK")) throw Malformed("the posted value is no archive");
    return EnvelopeOfArchive(archive);
}

/// A document as UTF-8 without a declaration, whatever it was sent in.
std::string XmlAsUtf8(const Bytes& sent) {
    std::string utf8(sent.begin(), sent.end());
    if (StartsWith(sent, "\xFF\xFE")) {
        utf8 = ToUtf8(FromUtf16Bytes(std::span(sent).subspan(2)));
    }
    if (utf8.starts_with("<?xml")) {
        const std::size_t end = utf8.find("?>");
        utf8.erase(0, end == std::string::npos ? utf8.size() : end + 2);
        // Documents with a declaration are ISO-8859-1.
        utf8 = ToUtf8(FromBytes(FromString(utf8)));
    }
    return utf8;
}

std::string SafeName(std::string_view name) {
    constexpr std::size_t kLongestName = 100;
    std::string safe;
    for (const char c : name.substr(0, kLongestName)) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '_' || c == '-';
        safe += isPlain ? c : '_';
    }
    return safe;
}

constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_ws_pcdata_single;

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

bool IsTooDeep(pugi::xml_document& xml) {
    struct : pugi::xml_tree_walker {
        bool for_each(pugi::xml_node&) override { return depth() < kDeepestElement; }
    } walker;
    return !xml.traverse(walker);
}

/// Turns one entry after the other into a file, and keeps what is wrong with them.
class EntryDecoder {
  public:
    explicit EntryDecoder(DecodedReport& report) : report_(report) {}

    void Add(const pugi::xml_node& element) {
        const std::string_view value = element.text().get();
        const auto* known = std::ranges::find_if(kEntries, [&](const EntryForm& entry) {
            return std::strcmp(entry.name, element.name()) == 0;
        });
        if (known == std::end(kEntries)) {
            return Put(SafeName(element.name()), Form::Plain, FromString(value));
        }
        auto bytes = DecodeBase64(FromUtf8(value));
        if (!bytes) {
            report_.problems.push_back(std::string(known->name) +
                                       " isn't valid base64, so it is left as it came");
            return Put(known->name, Form::Plain, FromString(value));
        }
        if (known->form == Form::Xml) bytes = Document(*known, *bytes);
        Put(known->file, known->form, *std::move(bytes));
    }

  private:
    void Put(std::string name, Form form, Bytes content) {
        report_.files.push_back({std::move(name), std::move(content), form == Form::Bytes});
    }

    /// Indented, a line an element. An empty document is what a failed gathering sends.
    Bytes Document(const EntryForm& entry, const Bytes& sent) {
        const std::string utf8 = XmlAsUtf8(sent);
        pugi::xml_document xml;
        if (utf8.empty()) return {};
        if (!xml.load_buffer(utf8.data(), utf8.size(), kParseOptions, pugi::encoding_utf8)) {
            report_.problems.push_back(std::string(entry.name) + " isn't well-formed XML");
            return FromString(utf8);
        }
        if (IsTooDeep(xml)) {
            report_.problems.push_back(std::string(entry.name) +
                                       " is nested too deeply, so it isn't indented");
            return FromString(utf8);
        }
        if (entry.name == std::string_view("SuspiciousFiles")) NotePaths(xml);
        StringWriter writer;
        xml.save(writer, " ", pugi::format_indent | pugi::format_no_declaration,
                 pugi::encoding_utf8);
        return FromString(writer.text);
    }

    void NotePaths(const pugi::xml_document& xml) {
        for (const auto& file : xml.document_element().children("f")) {
            report_.suspiciousFiles.push_back(FromUtf8(file.attribute("i").value()));
        }
    }

    DecodedReport& report_;
};

/// Several entries of one name get a number behind the second and later ones.
void MakeNamesUnique(std::vector<DecodedFile>& files) {
    std::set<std::string> taken;
    std::map<std::string, int> lastNumbers;
    for (DecodedFile& file : files) {
        std::string name = file.name;
        while (!taken.insert(name).second) {
            int& number = lastNumbers.try_emplace(file.name, 1).first->second;
            name = file.name + "-" + std::to_string(++number);
        }
        file.name = name;
    }
}

DecodedReport DecodeEnvelope(const Bytes& envelope) {
    pugi::xml_document xml;
    const auto parsed = xml.load_buffer(envelope.data(), envelope.size(), kParseOptions);
    if (!parsed) {
        throw Malformed(std::string("the envelope isn't well-formed: ") + parsed.description());
    }
    DecodedReport report;
    EntryDecoder entries(report);
    for (const auto& element : xml.document_element().children()) {
        const std::string_view name = element.name();
        if (name == "cat") {
            report.category = FromUtf8(element.text().get());
        } else if (name == "id") {
            report.id = FromUtf8(element.text().get());
        } else if (element.type() == pugi::node_element) {
            if (report.files.size() == kMostEntries) throw Malformed("it has too many entries");
            entries.Add(element);
        }
    }
    MakeNamesUnique(report.files);
    return report;
}

}  // namespace

std::variant<DecodedReport, std::string> DecodeReport(std::span<const std::uint8_t> input) {
    try {
        return DecodeEnvelope(EnvelopeOf(input));
    } catch (const Malformed& error) {
        return std::string(error.what());
    }
}

Text EncodeForPaste(TextView path) {
    return EncodeBase64(ToUtf16Bytes(path));
}

}  // namespace bkfd
