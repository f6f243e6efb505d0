#include <algorithm>
#include <utility>

#include "base/Utf16Bytes.h"
#include "formats/RegText.h"
#include "formats/RegTextData.h"

namespace bkfd {

using namespace regtext;

namespace {

constexpr TextView kLineEnd = u"\r\n";
constexpr TextView kLineBreaks = u"\r\n";
constexpr TextView kHexDigits = u"0123456789abcdef";
/// A line breaks behind the first comma at or behind this column, which keeps it within 80.
constexpr std::size_t kBreakColumn = 77;

bool FitsCodePage(TextView text, const RegCodePage& codePage) {
    return codePage.decode(codePage.encode(text)) == text;
}

void AppendQuoted(Text& out, TextView text) {
    out += u'"';
    for (const char16_t unit : text) {
        if (unit == u'"' || unit == u'\\') out += u'\\';
        out += unit;
    }
    out += u'"';
}

void AppendHexBytes(Text& out, std::size_t lineStart, std::span<const std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out += kHexDigits[bytes[i] >> 4];
        out += kHexDigits[bytes[i] & 0xF];
        if (i + 1 == bytes.size()) return;
        out += u',';
        if (out.size() - lineStart < kBreakColumn) continue;
        out.append(u"\\").append(kLineEnd);
        lineStart = out.size();
        out += u"  ";
    }
}

Text HexNumber(std::uint32_t number, std::size_t width) {
    Text digits = ToLower(ToHex(number));
    return digits.substr(std::min(digits.find_first_not_of(u'0'), digits.size() - width));
}

/// "dword:..." for its one form.
void AppendDword(Text& out, const Bytes& data) {
    out += u"dword:";
    for (std::size_t i = data.size(); i-- > 0;) {
        out += kHexDigits[data[i] >> 4];
        out += kHexDigits[data[i] & 0xF];
    }
}

/// Whether the text, without its closing NUL, can stand between quotes on one line.
bool CanBeQuoted(const Bytes& data) {
    if (data.size() % 2 != 0 || data.size() < 2) return false;
    const Text units = FromUtf16Bytes(data);
    return units.find(u'\0') == units.size() - 1 && units.find_first_of(kLineBreaks) == Text::npos;
}

class EntryWriter {
  public:
    EntryWriter(Text& out, RegFormat format, const RegCodePage& codePage)
        : out_(out), isRegedit4_(format == RegFormat::Regedit4), codePage_(codePage) {}

    void Append(const RegEntry& entry) {
        lineStart_ = out_.size();
        if (entry.name.empty()) {
            out_ += u'@';
        } else {
            AppendQuoted(out_, entry.name);
        }
        out_ += u'=';
        AppendData(entry);
        out_ += kLineEnd;
    }

  private:
    void AppendData(const RegEntry& entry) {
        if (entry.isDeletion) {
            out_ += u'-';
        } else if (entry.type == kDword && entry.data.size() == 4) {
            AppendDword(out_, entry.data);
        } else if (entry.type == kString && CanBeQuoted(entry.data) && FitsHere(entry.data)) {
            AppendQuoted(out_, FromUtf16Bytes(entry.data).substr(0, entry.data.size() / 2 - 1));
        } else if (isRegedit4_ && IsTextType(entry.type)) {
            AppendCodePageText(entry);
        } else {
            AppendHex(entry.type, 1, entry.data);
        }
    }

    /// Text data of REGEDIT4: in the code page, or as it is stored under the marked type number.
    void AppendCodePageText(const RegEntry& entry) {
        if (!FitsHere(entry.data)) {
            AppendHex(entry.type, 2, entry.data);
            return;
        }
        const std::string narrow = codePage_.encode(FromUtf16Bytes(entry.data));
        AppendHex(entry.type, 1, Bytes(narrow.begin(), narrow.end()));
    }

    bool FitsHere(const Bytes& data) const {
        if (!isRegedit4_) return true;
        return data.size() % 2 == 0 && FitsCodePage(FromUtf16Bytes(data), codePage_);
    }

    void AppendHex(std::uint32_t type, std::size_t typeWidth, const Bytes& data) {
        out_ += u"hex";
        if (type != kBinary) {
            out_.append(u"(").append(HexNumber(type, typeWidth)).append(u")");
        }
        out_ += u':';
        AppendHexBytes(out_, lineStart_, data);
    }

    Text& out_;
    const bool isRegedit4_;
    const RegCodePage& codePage_;
    std::size_t lineStart_ = 0;
};

/// Stands in the place of a section whose key the format can't name.
Text UnwritableSection(Text key) {
    const auto isLineBreak = [](char16_t unit) { return kLineBreaks.find(unit) != Text::npos; };
    std::ranges::replace_if(key, isLineBreak, u' ');
    return Text(u"; Left out, as its name has a line break: ").append(key).append(u"\r\n\r\n");
}

}  // namespace

Text RegHeader(RegFormat format) {
    const TextView header = format == RegFormat::Regedit4 ? kHeaderRegedit4 : kHeaderVersion5;
    return Text(header).append(kLineEnd);
}

Text FormatRegSection(const RegSection& section, RegFormat format, const RegCodePage& codePage) {
    if (section.key.find_first_of(kLineBreaks) != Text::npos) return UnwritableSection(section.key);
    Text out;
    out.append(section.isDeletion ? u"[-" : u"[").append(section.key).append(u"]").append(kLineEnd);
    EntryWriter writer(out, format, codePage);
    for (const RegEntry& entry : section.entries) writer.Append(entry);
    return out.append(kLineEnd);
}

}  // namespace bkfd
