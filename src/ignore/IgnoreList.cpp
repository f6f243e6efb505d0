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

constexpr TextView kHead = u"Brackenfold ignore list ";
constexpr TextView kFormat = u"1";
constexpr TextView kLineEnd = u"\r\n";
constexpr char16_t kByteOrderMark = 0xFEFF;
constexpr std::size_t kLargestList = 1024 * 1024;
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

Text Escaped(TextView text) {
    Text escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isPair = IsPairAt(text, i);
        const char16_t unit = text[i];
        const bool isOdd = IsControl(unit) || IsSurrogate(unit) || EscapedUnit(text.substr(i));
        if (isPair || !isOdd) {
            escaped += unit;
        } else {
            escaped += u'<' + ToHex(unit).substr(4) + u'>';
        }
        if (isPair) escaped += text[++i];
    }
    return escaped;
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

Text LineOf(const IgnoreEntry& entry) {
    Text line = entry.sha256;
    if (!entry.IsByContent()) line += Escaped(entry.clsid) + u'\t' + Escaped(entry.path);
    return line + u'\t' + entry.date + u'\t' + Escaped(entry.note);
}

/// Not of a comment, nor of blanks.
bool IsEntryLine(const Text& line) {
    return !line.starts_with(u'#') && line.find_first_not_of(u" \t") != Text::npos;
}

Result<Bytes> ReadContent(const Text& path) {
    const auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return Status(file);
    Bytes content(kLargestList + 1);
    const auto count = file.value->ReadFile(0, content);
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

Text ParseSha256(TextView text) {
    constexpr std::size_t kDigits = 64;
    Text lower = ToLower(text);
    const bool isHash =
        text.size() == kDigits && lower.find_first_not_of(u"0123456789abcdef") == Text::npos;
    return isHash ? lower : Text();
}

bool IsClassInBraces(TextView text) {
    constexpr std::size_t kLength = 38;
    return text.size() == kLength && text.front() == u'{' && text.back() == u'}';
}

Text TitleOf(const IgnoreEntry& entry) {
    if (entry.IsByContent()) return u"SHA-256 " + entry.sha256;
    return entry.clsid + u' ' + (entry.path.empty() ? u"(no file)" : entry.path);
}

Text IgnoreListPath() {
    return WithBackslash(ProgramFolder()) + u"ignore.txt";
}

// ---------------------------------------------------------------- reading

IgnoreList IgnoreList::Read() {
    const auto content = ReadContent(IgnoreListPath());
    if (content.IsOk()) {
        return Parse({reinterpret_cast<const char*>(content.value.data()), content.value.size()});
    }
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
    // Malformed bytes become another character, which has other bytes.
    const Text text = FromUtf8(content);
    const std::string again = ToUtf8(text);
    const auto good = std::ranges::mismatch(content, again).in1;
    if (good != content.end() || again.size() != content.size()) {
        const auto line = std::ranges::count(content.begin(), good, '\n') + 1;
        list.Fail(static_cast<std::size_t>(line), u"isn't UTF-8");
        return list;
    }
    list.ParseLines(text);
    if (!list.damage_.empty()) list.entries_.clear();
    return list;
}

void IgnoreList::Fail(std::size_t line, TextView what) {
    damage_ = u"line " + ToText(static_cast<std::int64_t>(line)) + u": " + Text(what);
}

void IgnoreList::ParseLines(TextView text) {
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(1);
    for (std::size_t number = 1; number == 1 || !text.empty(); ++number) {
        const std::size_t end = std::min(text.find(u'\n'), text.size());
        Text line(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with(u'\r')) line.pop_back();
        if (number == 1) {
            if (line == Text(kHead).append(kFormat)) continue;
            return Fail(number, line.starts_with(kHead)
                                    ? u"is the head of an ignore list of another version"
                                    : u"isn't the head of an ignore list");
        }
        const TextView wrong = IsEntryLine(line) ? ParseLine(line) : TextView();
        if (!wrong.empty()) return Fail(number, wrong);
        lines_.push_back(std::move(line));
    }
}

TextView IgnoreList::ParseLine(const Text& line) {
    if (std::ranges::any_of(line, [](char16_t it) { return IsControl(it) && it != u'\t'; })) {
        return u"holds a control character";
    }
    std::vector<Text> columns = Columns(line);
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
    lines_.push_back(LineOf(entry));
    entries_.push_back(std::move(entry));
    return true;
}

void IgnoreList::Remove(std::size_t index) {
    CheckIsGood();
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
    for (auto line = lines_.begin(); line != lines_.end(); ++line) {
        if (!IsEntryLine(*line) || index-- > 0) continue;
        lines_.erase(line);
        return;
    }
}

std::string IgnoreList::Content() const {
    Text content = Text(kHead).append(kFormat).append(kLineEnd);
    for (const Text& line : lines_) content.append(line).append(kLineEnd);
    return ToUtf8(content);
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
