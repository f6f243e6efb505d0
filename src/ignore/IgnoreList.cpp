#include "ignore/IgnoreList.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "base/Date.h"
#include "base/RuntimeError.h"
#include "base/Surrogates.h"
#include "platform/Machine.h"
#include "services/ApplicationState.h"
#include "services/FileUtil.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr std::string_view kHead = "Brackenfold ignore list ";
constexpr std::string_view kFormat = "1";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::uint64_t kLargestList = 1024 * 1024;
constexpr std::size_t kEscapeLength = 6;  // "<0009>"

bool IsControl(char16_t unit) {
    return unit < u' ' || unit == 0x7F;
}

/// The unit that an escape at the beginning of the text stands for.
std::optional<char16_t> EscapedUnit(TextView text) {
    if (text.size() < kEscapeLength || text[0] != u'<' || text[kEscapeLength - 1] != u'>') {
        return std::nullopt;
    }
    std::size_t unit = 0;
    for (const char16_t digit : text.substr(1, kEscapeLength - 2)) {
        constexpr TextView kDigits = u"0123456789ABCDEF";
        const std::size_t value = kDigits.find(digit);
        if (value == TextView::npos) return std::nullopt;
        unit = unit * kDigits.size() + value;
    }
    return static_cast<char16_t>(unit);
}

std::string Escaped(TextView text) {
    Text escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (IsPairAt(text, i)) {
            escaped += text.substr(i++, 2);
        } else if (IsControl(unit) || IsSurrogate(unit) || EscapedUnit(text.substr(i))) {
            escaped += u'<' + ToHex(unit).substr(4) + u'>';
        } else {
            escaped += unit;
        }
    }
    return ToUtf8(escaped);
}

Text Unescaped(TextView text) {
    Text unescaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = EscapedUnit(text.substr(i));
        unescaped += unit.value_or(text[i]);
        if (unit) i += kEscapeLength - 1;
    }
    return unescaped;
}

std::vector<Text> Columns(const Text& line) {
    std::vector<Text> columns;
    for (std::size_t start = 0;;) {
        const std::size_t end = std::min(line.find(u'\t', start), line.size());
        columns.push_back(Unescaped(TextView(line).substr(start, end - start)));
        if (end == line.size()) return columns;
        start = end + 1;
    }
}

/// In the form of `FormatDate`; empty for what is no date.
Text ParseDay(const Text& text) {
    Date date = 0;
    return ParseDate(text, date) || ParseDate(text + u" 00:00:00", date) ? FormatDate(date)
                                                                         : Text();
}

std::string LineOf(const IgnoreEntry& entry) {
    const std::string what =
        entry.IsByContent() ? entry.sha256 : Escaped(entry.clsid) + '\t' + Escaped(entry.path);
    return what + '\t' + ToUtf8(entry.date) + '\t' + Escaped(entry.note);
}

Result<std::string> ReadContent(const Text& path) {
    const auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return Status(file);
    std::string content(static_cast<std::size_t>(kLargestList) + 1, '\0');
    const auto count =
        file.value->ReadFile(0, {reinterpret_cast<std::uint8_t*>(content.data()), content.size()});
    if (!count.IsOk()) return Status(count);
    content.resize(count.value);
    return content;
}

[[noreturn]] void Refuse(const Text& what) {
    throw RuntimeError(ErrorNumber::PathFileAccess, IgnoreListPath() + u": " + what);
}

}  // namespace

bool IgnoreEntry::IsSameAs(const IgnoreEntry& other) const {
    return sha256 == other.sha256 && EqualsIgnoreCase(clsid, other.clsid) &&
           EqualsIgnoreCase(path, other.path);
}

std::string ParseSha256(TextView text) {
    constexpr std::size_t kDigits = 64;
    const Text lower = ToLower(text);
    const bool isHash =
        text.size() == kDigits && lower.find_first_not_of(u"0123456789abcdef") == Text::npos;
    return isHash ? ToUtf8(lower) : std::string();
}

bool IsClassInBraces(TextView text) {
    constexpr std::size_t kLength = 38;
    return text.size() == kLength && text.front() == u'{' && text.back() == u'}';
}

Text TitleOf(const IgnoreEntry& entry) {
    if (entry.IsByContent()) return u"SHA-256 " + FromAscii(entry.sha256);
    return entry.clsid + u' ' + (entry.path.empty() ? u"(no file)" : entry.path);
}

Text IgnoreListPath() {
    return WithBackslash(ProgramFolder()) + u"ignore.txt";
}

// ---------------------------------------------------------------- reading

IgnoreList IgnoreList::Read() {
    const auto content = ReadContent(IgnoreListPath());
    if (content.IsOk()) return Parse(content.value);
    IgnoreList list;
    if (!content.IsNotThere()) list.damage_ = SysUtil::SystemErrorText(content.code);
    return list;
}

IgnoreList IgnoreList::Parse(std::string_view content) {
    IgnoreList list;
    if (content.size() > kLargestList) {
        list.damage_ = u"is larger than " + ToText(kLargestList / 1024) + u" KiB";
        return list;
    }
    list.ParseLines(content);
    if (!list.damage_.empty()) list.entries_.clear();
    return list;
}

void IgnoreList::Fail(std::size_t line, TextView what) {
    damage_ = u"line " + ToText(static_cast<std::int64_t>(line)) + u": " + Text(what);
}

void IgnoreList::ParseLines(std::string_view content) {
    if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
    for (std::size_t number = 1; number == 1 || !content.empty(); ++number) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        std::string line(content.substr(0, end));
        content.remove_prefix(std::min(end + 1, content.size()));
        if (line.ends_with('\r')) line.pop_back();
        // Malformed bytes become another character, which has other bytes.
        if (ToUtf8(FromUtf8(line)) != line) return Fail(number, u"isn't UTF-8");
        if (number > 1) {
            const Text wrong = ParseLine(line);
            if (!wrong.empty()) return Fail(number, wrong);
        } else if (!line.starts_with(kHead)) {
            return Fail(number, u"isn't the head of an ignore list");
        } else if (line != std::string(kHead).append(kFormat)) {
            return Fail(number, u"is the head of an ignore list of another version");
        }
    }
}

Text IgnoreList::ParseLine(const std::string& line) {
    const Text text = FromUtf8(line);
    const bool isEntry = !Trim(Replace(text, u"\t", u" ")).empty() && !text.starts_with(u'#');
    lines_.push_back({line, isEntry});
    if (!isEntry) return {};
    if (std::ranges::any_of(text, [](char16_t it) { return IsControl(it) && it != u'\t'; })) {
        return u"holds a control character";
    }
    std::vector<Text> columns = Columns(text);
    IgnoreEntry entry;
    entry.sha256 = ParseSha256(columns[0]);
    const std::size_t dateAt = entry.IsByContent() ? 1 : 2;
    if (!entry.IsByContent()) {
        if (!IsClassInBraces(columns[0])) return u"begins with no SHA-256 and no {class}";
        entry.clsid = columns[0];
        if (columns.size() > 1) entry.path = columns[1];
    }
    if (columns.size() <= dateAt || columns.size() > dateAt + 2) {
        return u"has too few or too many columns, with tabs between them";
    }
    entry.date = ParseDay(columns[dateAt]);
    if (entry.date.empty()) return u"has no date like 2026-11-16 in its place";
    if (columns.size() > dateAt + 1) entry.note = columns[dateAt + 1];
    entries_.push_back(std::move(entry));
    return {};
}

// ---------------------------------------------------------------- changes

void IgnoreList::CheckIsGood() const {
    if (!damage_.empty()) Refuse(damage_);
}

bool IgnoreList::Add(IgnoreEntry entry) {
    CheckIsGood();
    const auto isSame = [&](const IgnoreEntry& known) { return known.IsSameAs(entry); };
    if (std::ranges::any_of(entries_, isSame)) return false;
    lines_.push_back({LineOf(entry), true});
    entries_.push_back(std::move(entry));
    return true;
}

void IgnoreList::Remove(std::size_t index) {
    CheckIsGood();
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
    for (auto line = lines_.begin(); line != lines_.end(); ++line) {
        if (!line->isEntry || index-- > 0) continue;
        lines_.erase(line);
        return;
    }
}

std::string IgnoreList::Content() const {
    std::string content = std::string(kHead).append(kFormat) + "\r\n";
    for (const Line& line : lines_) content += line.text + "\r\n";
    return content;
}

void IgnoreList::Write() const {
    CheckIsGood();
    const std::string content = Content();
    if (content.size() > kLargestList) Refuse(u"would become too large");
    if (!FileUtil::FolderExists(ProgramFolder())) FileUtil::CreateFolder(ProgramFolder());
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
    FileUtil::WriteTextFile(IgnoreListPath(), FromBytes({bytes, content.size()}));
}

}  // namespace bkfd
