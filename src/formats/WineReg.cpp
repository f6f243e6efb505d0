#include "formats/WineReg.h"

#include <array>
#include <optional>

#include "base/Utf16Bytes.h"
#include "formats/RegTextData.h"

namespace bkfd {
namespace {

constexpr std::string_view kFirstLine = "WINE REGISTRY Version 2";

std::uint32_t DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<std::uint32_t>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<std::uint32_t>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F') return static_cast<std::uint32_t>(digit - 'A' + 10);
    return 16;
}

bool IsBlank(char unit) {
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

void SkipBlanks(std::string_view& text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
}

bool Accept(std::string_view& text, std::string_view start) {
    if (!text.starts_with(start)) return false;
    text.remove_prefix(start.size());
    return true;
}

/// Digits of a base up to `most` of them; nothing if there is none.
std::optional<std::uint64_t> TakeNumber(std::string_view& text, std::uint32_t base,
                                        std::size_t most) {
    std::uint64_t number = 0;
    std::size_t count = 0;
    for (; count < most && !text.empty() && DigitValue(text.front()) < base; ++count) {
        number = number * base + DigitValue(text.front());
        text.remove_prefix(1);
    }
    return count == 0 ? std::nullopt : std::optional(number);
}

/// The character behind a backslash.
char16_t TakeEscape(std::string_view& text) {
    constexpr std::string_view kLetters = "abefnrtv";
    constexpr std::string_view kMeanings = "\a\b\x1B\f\n\r\t\v";
    const char escape = text.front();
    if (escape >= '0' && escape <= '7') return static_cast<char16_t>(*TakeNumber(text, 8, 3));
    text.remove_prefix(1);
    if (escape == 'x') return static_cast<char16_t>(TakeNumber(text, 16, 4).value_or(u'x'));
    const std::size_t letter = kLetters.find(escape);
    return static_cast<char16_t>(letter == std::string_view::npos ? escape : kMeanings[letter]);
}

/// A text up to an end character, which is taken with it; nothing if it doesn't come. Bytes that
/// are no UTF-8 are left out, as in Wine.
std::optional<Text> TakeText(std::string_view& text, char end) {
    Text taken;
    const char stops[] = {'\\', end};
    for (;;) {
        const std::size_t plain = text.find_first_of(std::string_view(stops, 2));
        if (plain == std::string_view::npos) return std::nullopt;
        for (const char16_t unit : FromWtf8(text.substr(0, plain))) {
            if (unit != 0xFFFD) taken += unit;
        }
        const char stop = text[plain];
        text.remove_prefix(plain + 1);
        if (stop == end) return taken;
        if (text.empty()) return std::nullopt;
        const auto lead = static_cast<unsigned char>(text.front());
        if (lead < 0x80) taken += TakeEscape(text);
    }
}

void Fail(WineRegItem& item, const char* problem) {
    item.kind = WineRegKind::Malformed;
    item.problem = problem;
}

}  // namespace

bool WineRegReader::IsWineReg(ByteView file) {
    if (!HasText(file, 0, kFirstLine)) return false;
    return file.size() == kFirstLine.size() || file[kFirstLine.size()] == '\n' ||
           file[kFirstLine.size()] == '\r';
}

/// The next line without its end; a NUL ends it early, as in Wine.
std::string_view WineRegReader::TakeLine() {
    const std::string_view rest(reinterpret_cast<const char*>(file_.data()) + at_,
                                file_.size() - at_);
    std::string_view line = rest.substr(0, rest.find('\n'));
    at_ += std::min(line.size() + 1, rest.size());
    ++line_;
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line.substr(0, line.find('\0'));
}

bool WineRegReader::Next(WineRegItem& item) {
    if (at_ == file_.size()) return false;
    item = {};
    item.begin = at_;
    std::string_view line = TakeLine();
    item.number = line_;
    SkipBlanks(line);
    if (line_ > 1 && !line.empty()) {
        switch (line.front()) {
            case '[':
                ReadKey(line.substr(1), item);
                break;
            case '@':
            case '"':
                ReadValue(line, item);
                break;
            case '#':
                ReadOption(line, item);
                break;
            case ';':
                break;
            default:
                Fail(item, "it is neither a key, a value, an option nor a comment");
        }
    }
    item.end = at_;
    return true;
}

void WineRegReader::ReadKey(std::string_view line, WineRegItem& item) {
    auto path = TakeText(line, ']');
    hasKey_ = path.has_value();  // what follows belongs to no other key
    if (!path) return Fail(item, "the key's name has no closing bracket");
    item.kind = WineRegKind::Key;
    item.name = *std::move(path);
    SkipBlanks(line);
    item.time = TakeNumber(line, 10, 19).value_or(0);
}

void WineRegReader::ReadOption(std::string_view line, WineRegItem& item) {
    if (Accept(line, "#arch=") && !hasKey_) {
        item.kind = WineRegKind::Arch;
        item.name = FromUtf8(line);
    } else if (Accept(line, "#time=")) {
        item.kind = WineRegKind::Time;
        item.time = TakeNumber(line, 16, 16).value_or(0);
    } else if (Accept(line, "#class=\"")) {
        auto name = TakeText(line, '"');
        if (!name) return Fail(item, "the class is not closed");
        item.kind = WineRegKind::Class;
        item.name = *std::move(name);
    } else if (line.starts_with("#link")) {
        item.kind = WineRegKind::Link;
    }
}

void WineRegReader::ReadValue(std::string_view line, WineRegItem& item) {
    item.kind = WineRegKind::Value;
    if (!Accept(line, "@")) {
        line.remove_prefix(1);
        auto name = TakeText(line, '"');
        if (!name) return Fail(item, "the value's name is not closed");
        item.name = *std::move(name);
    }
    SkipBlanks(line);
    if (!Accept(line, "=")) return Fail(item, "there is no = behind the value's name");
    SkipBlanks(line);
    ReadData(line, item);
    if (!hasKey_) Fail(item, "a value stands behind no key");
}

void WineRegReader::ReadData(std::string_view line, WineRegItem& item) {
    item.type = regtext::kString;
    if (Accept(line, "dword:")) {
        const auto number = TakeNumber(line, 16, 8);
        if (!number) return Fail(item, "a number is missing");
        item.type = regtext::kDword;
        item.data.resize(4);
        return Write32(item.data, 0, static_cast<std::uint32_t>(*number));
    }
    if (Accept(line, "hex:")) {
        item.type = regtext::kBinary;
        return ReadHex(line, item);
    }
    const bool isHex = Accept(line, "hex(");
    if (isHex || Accept(line, "str(")) {
        const auto type = TakeNumber(line, 16, 8);
        if (!type || !Accept(line, "):")) return Fail(item, "the data's type is malformed");
        item.type = static_cast<std::uint32_t>(*type);
        if (isHex) return ReadHex(line, item);
    } else {
        Accept(line, "str:");
    }
    auto text = Accept(line, "\"") ? TakeText(line, '"') : std::nullopt;
    if (!text) return Fail(item, "the value's data is malformed");
    item.data = ToUtf16Bytes(*text += u'\0');
}

void WineRegReader::ReadHex(std::string_view line, WineRegItem& item) {
    for (;;) {
        while (const auto number = TakeNumber(line, 16, 8)) {
            if (*number > 0xFF) return Fail(item, "a byte of the data is too large");
            item.data.push_back(static_cast<std::uint8_t>(*number));
            SkipBlanks(line);
            Accept(line, ",");
            SkipBlanks(line);
        }
        if (line.empty()) break;
        if (!Accept(line, "\\") || at_ == file_.size()) {
            return Fail(item, "the value's data is malformed");
        }
        line = TakeLine();
        SkipBlanks(line);
    }
}

void WalkWineReg(ByteView file, RegistryVisitor& visitor) {
    WineRegReader reader(file);
    WineRegItem item;
    Text path;
    while (reader.Next(item)) {
        if (item.kind == WineRegKind::Key) {
            path = item.name.empty() ? Text() : u'\\' + item.name;
            visitor.OnKey(path);
        } else if (item.kind == WineRegKind::Malformed) {
            const std::string line = "line " + std::to_string(item.number) + ": ";
            visitor.OnUnreadable(path, line + item.problem);
        } else if (item.kind == WineRegKind::Value) {
            const ByteView data = item.data;
            visitor.OnValue({item.name, item.type, {&data, data.empty() ? 0U : 1U}});
        }
    }
}

}  // namespace bkfd
