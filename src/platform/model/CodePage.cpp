#include "platform/model/CodePage.h"

#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

#include "base/Surrogates.h"

namespace bkfd {
namespace {

constexpr std::size_t kLongestCharacter = 4;

std::string IconvName(std::uint32_t number) {
    switch (number) {
        case 65001:
            return "UTF-8";
        case 20127:
            return "ASCII";
        case 950:
            return "BIG5";
        case 1361:
            return "JOHAB";
        default:
            break;
    }
    if (number > 28590 && number < 28606) return "ISO-8859-" + std::to_string(number - 28590);
    return "CP" + std::to_string(number);
}

/// Where a page differs from iconv's: `count` characters or codes from `first` on, which become
/// those from `value` on, in the pages whose bits are set.
struct CodeRun {
    std::uint16_t first;
    std::uint16_t count;
    std::uint16_t value;
    std::uint16_t pages;
};

#include "platform/model/CodePageTable.inc"

/// The bit of a page in the table, 0 for one that isn't in it.
std::uint16_t PageBit(std::uint32_t number) {
    const auto* const found = std::ranges::find(kTablePages, number);
    if (found == std::end(kTablePages)) return 0;
    return static_cast<std::uint16_t>(1U << (found - std::begin(kTablePages)));
}

/// Of one page, sorted; they don't overlap.
using CodeRuns = std::vector<CodeRun>;

CodeRuns RunsOf(std::span<const CodeRun> all, std::uint16_t page) {
    CodeRuns runs;
    std::ranges::copy_if(all, std::back_inserter(runs),
                         [page](const CodeRun& run) { return (run.pages & page) != 0; });
    return runs;
}

std::optional<std::uint16_t> Mapped(const CodeRuns& runs, std::uint32_t from) {
    const auto behind = std::ranges::upper_bound(runs, from, {}, &CodeRun::first);
    if (behind == runs.begin()) return std::nullopt;
    const CodeRun& run = *std::prev(behind);
    const std::uint32_t offset = from - run.first;
    if (offset >= run.count) return std::nullopt;
    return static_cast<std::uint16_t>(run.value + offset);
}

std::string BytesOfCode(std::uint16_t code) {
    std::string bytes;
    if (code > 0xFF) bytes.push_back(static_cast<char>(code >> 8));
    bytes.push_back(static_cast<char>(code & 0xFF));
    return bytes;
}

}  // namespace

/// What a page has otherwise than iconv.
class CodePage::Table {
  public:
    explicit Table(std::uint16_t page)
        : encode_(RunsOf(kEncodeRuns, page)), decode_(RunsOf(kDecodeRuns, page)) {}

    std::optional<std::uint16_t> Code(char16_t unit) const { return Mapped(encode_, unit); }
    std::optional<std::uint16_t> Unit(std::uint32_t code) const { return Mapped(decode_, code); }

  private:
    CodeRuns encode_;
    CodeRuns decode_;
};

/// An open iconv conversion.
class CodePage::Converter {
  public:
    Converter(const std::string& to, const std::string& from)
        : descriptor_(iconv_open(to.c_str(), from.c_str())) {}
    ~Converter() {
        if (IsOpen()) iconv_close(descriptor_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return descriptor_ != reinterpret_cast<iconv_t>(-1); }

    /// Converts the whole input, or nothing.
    bool Convert(std::string_view input, std::string& output) {
        if (!IsOpen()) return false;
        char room[16];
        std::string copy(input);
        char* from = copy.data();
        char* to = room;
        std::size_t fromLeft = copy.size();
        std::size_t toLeft = sizeof room;
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        const std::size_t outcome = iconv(descriptor_, &from, &fromLeft, &to, &toLeft);
        if (outcome != 0 || fromLeft != 0 || toLeft == sizeof room) return false;
        output.assign(room, sizeof room - toLeft);
        return true;
    }

  private:
    iconv_t descriptor_;
};

CodePage::CodePage(std::uint32_t number)
    : table_(PageBit(number) == 0 ? nullptr : std::make_unique<Table>(PageBit(number))),
      toBytes_(std::make_unique<Converter>(IconvName(number), "UTF-16LE")),
      toText_(std::make_unique<Converter>("UTF-16LE", IconvName(number))) {}

CodePage::~CodePage() = default;
CodePage::CodePage(CodePage&&) noexcept = default;
CodePage& CodePage::operator=(CodePage&&) noexcept = default;

bool CodePage::IsKnown(std::uint32_t number) {
    return Converter("UTF-16LE", IconvName(number)).IsOpen();
}

std::string CodePage::Encode(TextView text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] < 0x80) {
            bytes.push_back(static_cast<char>(text[i++]));
            continue;
        }
        // A page of a table has no character for a pair, and one "?" for each of its units.
        const bool isPair = table_ == nullptr && IsPairAt(text, i);
        const std::size_t length = isPair ? 2 : 1;
        bytes += EncodeCharacter(text.substr(i, length));
        i += length;
    }
    return bytes;
}

Text CodePage::Decode(std::string_view bytes) {
    Text text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        if (static_cast<unsigned char>(bytes[i]) < 0x80) {
            text.push_back(static_cast<char16_t>(bytes[i++]));
            continue;
        }
        i += DecodeCharacter(bytes.substr(i), text);
    }
    return text;
}

const std::string& CodePage::EncodeCharacter(TextView character) {
    const auto [entry, isNew] = encoded_.try_emplace(Text(character));
    if (!isNew) return entry->second;
    if (const auto code = table_ ? table_->Code(character[0]) : std::nullopt) {
        entry->second = BytesOfCode(*code);
        return entry->second;
    }
    std::string input;
    for (const char16_t unit : character) {
        input.push_back(static_cast<char>(unit & 0xFF));
        input.push_back(static_cast<char>(unit >> 8));
    }
    const bool isControl = character[0] >= 0x80 && character[0] < 0xA0;
    if (!toBytes_->Convert(input, entry->second)) {
        entry->second = isControl ? std::string(1, static_cast<char>(character[0])) : "?";
    }
    return entry->second;
}

/// Takes the shortest sequence that is a character; returns how many bytes it took.
std::size_t CodePage::DecodeCharacter(std::string_view bytes, Text& out) {
    const std::size_t longest = std::min(bytes.size(), kLongestCharacter);
    std::uint32_t code = 0;
    for (std::size_t length = 1; length <= longest; ++length) {
        code = code << 8 | static_cast<unsigned char>(bytes[length - 1]);
        if (const auto unit = table_ ? table_->Unit(code) : std::nullopt) {
            out.push_back(*unit);
            return length;
        }
        std::string units;
        if (!toText_->Convert(bytes.substr(0, length), units)) continue;
        for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
            out.push_back(static_cast<char16_t>(static_cast<unsigned char>(units[i]) |
                                                static_cast<unsigned char>(units[i + 1]) << 8));
        }
        return length;
    }
    out.push_back(static_cast<unsigned char>(bytes[0]));
    return 1;
}

}  // namespace bkfd
