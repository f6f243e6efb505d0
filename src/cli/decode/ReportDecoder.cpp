#include "cli/decode/ReportDecoder.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "base/Utf16Bytes.h"
#include "cli/decode/DocumentWriter.h"
#include "cli/decode/OutputBudget.h"
#include "cli/decode/XmlReader.h"
#include "formats/Base64.h"
#include "formats/Zip.h"

namespace bkfd {
namespace {

// Reports have thirteen entries, and each entry becomes a file.
constexpr std::size_t kMostEntries = 1000;
constexpr std::size_t kPiece = 64 * 1024;  // whole groups of base64

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
    {"IgnoreList", "IgnoreList", Form::Bytes},
};

std::string_view AsText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
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

/// Hands the bytes on piece by piece; false for what isn't valid base64.
template <class Sink>
bool DecodePieces(std::string_view base64, Sink&& sink) {
    while (!base64.empty()) {
        const std::string_view piece = base64.substr(0, kPiece);
        base64.remove_prefix(piece.size());
        // Padding ends the whole, not a piece.
        if (!base64.empty() && piece.back() == '=') return false;
        const auto bytes = DecodeBase64(Text(piece.begin(), piece.end()));
        if (!bytes) return false;
        sink(*bytes);
    }
    return true;
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

/// A document as UTF-8 without a declaration, whatever it was sent in.
std::string XmlAsUtf8(const Bytes& sent) {
    std::string utf8(sent.begin(), sent.end());
    if (utf8.starts_with("\xFF\xFE")) {
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

/// Gives each file a name of its own: the second and later of one name get a number.
class FileNames {
  public:
    std::string Next(const std::string& wanted) {
        std::string name = wanted;
        while (!taken_.insert(name).second) {
            int& number = lastNumbers_.try_emplace(wanted, 1).first->second;
            name = wanted + "-" + std::to_string(++number);
        }
        return name;
    }

  private:
    std::set<std::string> taken_;
    std::map<std::string, int> lastNumbers_;
};

/// Turns one entry after the other into a file, and keeps what is wrong with them.
class EntryDecoder {
  public:
    EntryDecoder(DecodedReport& report, const DecodedFileSink& sink, std::size_t limit)
        : report_(report), sink_(sink), budget_(limit) {}

    void Add(const std::string& name, const std::string& value) {
        if (++count_ > kMostEntries) throw MalformedReport("it has too many entries");
        const auto* known = std::ranges::find_if(
            kEntries, [&](const EntryForm& entry) { return name == entry.name; });
        if (known == std::end(kEntries)) {
            Put(SafeName(name), false, FromText(value));
        } else if (!DecodePieces(value, [](const Bytes&) {})) {
            report_.problems.push_back(name + " isn't valid base64, so it is left as it came");
            Put(name, false, FromText(value));
        } else if (known->form == Form::Xml) {
            Put(known->file, false, Document(name, value));
        } else {
            Put(known->file, true, Decoded(value));
        }
    }

  private:
    void Put(const std::string& name, bool isAsSent, Bytes content) {
        sink_({names_.Next(name), std::move(content), isAsSent});
    }

    Bytes FromText(std::string_view text) {
        budget_.Take(text.size());
        return FromString(text);
    }

    Bytes Decoded(std::string_view base64) {
        Bytes content;
        budget_.Take(base64.size() / 4 * 3);
        content.reserve(base64.size() / 4 * 3);
        (void)DecodePieces(base64, [&](const Bytes& bytes) {
            content.insert(content.end(), bytes.begin(), bytes.end());
        });
        return content;
    }

    /// Indented, a line an element. An empty document is what a failed gathering sends.
    Bytes Document(const std::string& name, std::string_view base64) {
        if (base64.empty()) return {};
        DocumentWriter writer(budget_);
        XmlReader reader(writer);
        bool isGood = true;
        (void)DecodePieces(
            base64, [&](const Bytes& bytes) { isGood = isGood && reader.Read(AsText(bytes)); });
        if (!isGood || !reader.Finish()) {
            report_.problems.push_back(name + " isn't indented: " + reader.Error());
            budget_.GiveBack(writer.Size());
            const Bytes sent = Decoded(base64);
            const std::string utf8 = XmlAsUtf8(sent);
            budget_.GiveBack(base64.size() / 4 * 3);
            return FromText(utf8);
        }
        if (writer.HasRemarks()) {
            report_.problems.push_back(name +
                                       " holds comments or instructions; that is in no file");
        }
        if (name == "SuspiciousFiles") std::ranges::move(writer.TakePaths(), Paths());
        return FromString(writer.TakeDocument());
    }

    std::back_insert_iterator<std::vector<Text>> Paths() {
        return std::back_inserter(report_.suspiciousFiles);
    }

    DecodedReport& report_;
    const DecodedFileSink& sink_;
    OutputBudget budget_;
    FileNames names_;
    std::size_t count_ = 0;
};

/// Takes the envelope as it is read: elements below the root, each holding a text.
class EnvelopeReader final : public XmlHandler {
  public:
    EnvelopeReader(DecodedReport& report, const DecodedFileSink& sink, std::size_t limit)
        : report_(report), entries_(report, sink, limit), left_(2 * limit), limit_(limit) {}

    void Read(std::string_view piece) {
        if (isBroken_) return;
        if (piece.size() > left_) OutputBudget(limit_).Take(limit_ + 1);
        left_ -= piece.size();
        if (!reader_.Read(piece)) Break();
    }

    void Finish() {
        if (!isBroken_ && !reader_.Finish()) Break();
        if (!hasEntries_) report_.problems.push_back("the envelope holds no entries");
    }

    void OnStart(const char* name, const char** attributes) override {
        if (++depth_ == 2) {
            name_ = name;
            text_.clear();
        } else if (depth_ > 2) {
            Leave("elements");
        }
        if (*attributes != nullptr) Leave("attributes");
    }

    void OnEnd(const char*) override {
        if (depth_-- != 2) return;
        lost_.clear();
        if (name_ == "cat" && !std::exchange(hasCategory_, true)) {
            report_.category = FromUtf8(text_);
        } else if (name_ == "id" && !std::exchange(hasId_, true)) {
            report_.id = FromUtf8(text_);
        } else {
            hasEntries_ = true;
            entries_.Add(name_, text_);
        }
    }

    void OnText(std::string_view text) override {
        if (depth_ == 2) {
            text_ += text;
        } else if (depth_ == 1 && text.find_first_not_of(" \t\r\n") != std::string_view::npos) {
            Leave("text between its entries");
        }
    }

    void OnRemark() override { Leave("comments or instructions"); }

  private:
    /// Tells of something that no file shows, once an entry, whatever the names inside it are:
    /// there are no more problems than entries allow.
    void Leave(const char* what) {
        const std::string where = depth_ < 2 ? "the envelope" : name_;
        if (!lost_.insert(where + what).second) return;
        report_.problems.push_back(where + " holds " + what + "; that is in no file");
    }

    /// What stands before the damage is as good as ever.
    void Break() {
        if (!hasEntries_) {
            throw MalformedReport("the envelope isn't well-formed: " + reader_.Error());
        }
        report_.problems.push_back("the envelope isn't well-formed: " + reader_.Error() + ", in " +
                                   name_ + " or behind it; what stands there is lost");
        isBroken_ = true;
    }

    DecodedReport& report_;
    EntryDecoder entries_;
    XmlReader reader_{*this};
    std::size_t left_;  // of what the envelope may have
    std::size_t limit_;
    int depth_ = 0;
    std::string name_;
    std::string text_;
    std::set<std::string> lost_;  // what was told of the open entry
    bool hasCategory_ = false;
    bool hasId_ = false;
    bool hasEntries_ = false;
    bool isBroken_ = false;
};

void ReadArchive(std::span<const std::uint8_t> archive, EnvelopeReader& envelope,
                 DecodedReport& report) {
    SpanSource source(archive);
    const auto directory = ReadZipDirectory(source);
    if (!directory) throw MalformedReport("the archive is cut or damaged");
    const auto entry = std::ranges::find_if(
        directory->entries, [](const ZipEntry& one) { return one.name.ends_with(".xml"); });
    if (entry == directory->entries.end()) throw MalformedReport("the archive holds no envelope");
    if (directory->entries.size() > 1) {
        report.problems.push_back("the archive holds more than the envelope, which is left out");
    }
    if (!ReadZipEntry(source, *entry, {}, [&](auto bytes) { envelope.Read(AsText(bytes)); })) {
        throw MalformedReport("the envelope in the archive can't be unpacked");
    }
}

void ReadInput(std::span<const std::uint8_t> input, EnvelopeReader& envelope,
               DecodedReport& report) {
    const std::string_view body = AsText(input);
    if (body.starts_with("PK")) return ReadArchive(input, envelope, report);
    if (body.starts_with("<?xml")) return envelope.Read(body);
    const auto value = FormField(body, "value");
    if (!value) throw MalformedReport("it is no posted report, archive or envelope");
    Bytes archive;
    archive.reserve(value->size() / 4 * 3);
    const bool isBase64 = DecodePieces(*value, [&](const Bytes& bytes) {
        archive.insert(archive.end(), bytes.begin(), bytes.end());
    });
    if (!isBase64) throw MalformedReport("the posted archive isn't valid base64");
    if (!AsText(archive).starts_with("PK")) {
        throw MalformedReport("the posted value is no archive");
    }
    ReadArchive(archive, envelope, report);
}

}  // namespace

std::variant<DecodedReport, std::string> DecodeReport(std::span<const std::uint8_t> input,
                                                      std::size_t limit,
                                                      const DecodedFileSink& sink) {
    try {
        DecodedReport report;
        EnvelopeReader envelope(report, sink, limit);
        ReadInput(input, envelope, report);
        envelope.Finish();
        return report;
    } catch (const MalformedReport& error) {
        return std::string(error.what());
    }
}

std::variant<DecodedReport, std::string> DecodeReport(std::span<const std::uint8_t> input,
                                                      std::size_t limit) {
    std::vector<DecodedFile> files;
    auto decoded =
        DecodeReport(input, limit, [&](DecodedFile file) { files.push_back(std::move(file)); });
    if (auto* report = std::get_if<DecodedReport>(&decoded)) report->files = std::move(files);
    return decoded;
}

Text EncodeForPaste(TextView path) {
    return EncodeBase64(ToUtf16Bytes(path));
}

}  // namespace bkfd
