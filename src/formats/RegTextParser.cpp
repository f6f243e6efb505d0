#include <algorithm>
#include <utility>

#include "base/Utf16Bytes.h"
#include "formats/RegText.h"
#include "formats/RegTextData.h"

namespace bkfd {

using namespace regtext;

namespace {

/// Where in the text the parser stopped, and why.
struct Failure {
    std::size_t position;
    std::string message;
};

bool IsBlank(char16_t unit) {
    return unit == u' ' || unit == u'\t';
}

bool IsLineBreak(char16_t unit) {
    return unit == u'\r' || unit == u'\n';
}

/// The value of a hexadecimal digit, or 16.
std::uint32_t DigitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10U;
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10U;
    return 16;
}

std::size_t LineOf(TextView text, std::size_t position) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < std::min(position, text.size()); ++i) {
        const bool isPair = text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n';
        if (IsLineBreak(text[i]) && !isPair) ++line;
    }
    return line;
}

/// Moves through the text by characters, words and lines.
class Cursor {
  public:
    explicit Cursor(TextView text) : text_(text) {}

    [[noreturn]] void Fail(std::string message) const { FailAt(position_, std::move(message)); }
    [[noreturn]] static void FailAt(std::size_t position, std::string message) {
        throw Failure{position, std::move(message)};
    }

    std::size_t Position() const { return position_; }
    bool AtEnd() const { return position_ == text_.size(); }
    bool AtLineEnd() const { return AtEnd() || IsLineBreak(text_[position_]); }
    /// The next unit; NUL at the end.
    char16_t Peek() const { return AtEnd() ? u'\0' : text_[position_]; }

    bool Accept(char16_t unit) {
        if (AtEnd() || text_[position_] != unit) return false;
        ++position_;
        return true;
    }

    bool AcceptWord(TextView word) {
        if (!EqualsIgnoreCase(text_.substr(position_, word.size()), word)) return false;
        position_ += word.size();
        return true;
    }

    /// All up to the first of `stops` or the end.
    TextView TakeUntil(TextView stops) {
        const std::size_t start = position_;
        position_ = std::min(text_.find_first_of(stops, start), text_.size());
        return text_.substr(start, position_ - start);
    }

    TextView TakeLine() { return TakeUntil(u"\r\n"); }

    char16_t TakeUnit() { return text_[position_++]; }

    void MoveBack(std::size_t count) { position_ -= count; }

    void SkipBlanks() {
        while (!AtEnd() && IsBlank(text_[position_])) ++position_;
    }

    /// Leaves the line, on which only blanks and a comment may remain.
    void FinishLine() {
        SkipBlanks();
        if (Peek() == u';') TakeLine();
        if (!AtLineEnd()) Fail("unexpected text at the end of the line");
        Accept(u'\r');
        Accept(u'\n');
    }

    /// Goes on behind the line of a position, and behind those that continue it and are no keys.
    void LeaveLine(std::size_t position) {
        position_ = position;
        bool isContinued = true;
        while (isContinued) {
            isContinued = TakeLine().ends_with(u'\\');
            Accept(u'\r');
            Accept(u'\n');
            isContinued = isContinued && Peek() != u'[';
        }
    }

  private:
    TextView text_;
    std::size_t position_ = 0;
};

class Parser {
  public:
    Parser(TextView text, const RegCodePage& codePage, const RegKeyCheck& check)
        : cursor_(text), codePage_(codePage), check_(check) {}

    RegDocument Parse() {
        ReadHeader();
        while (!cursor_.AtEnd()) ReadLine();
        return std::move(document_);
    }

    /// Keeps each failure behind the header, with the line that it makes worthless, and goes on
    /// behind that, so that a text that isn't closed hides no keys.
    RegDocument ParseWhatIsWhole(std::vector<Failure>& failures) {
        ReadHeader();
        while (!cursor_.AtEnd()) {
            const std::size_t start = cursor_.Position();
            try {
                ReadLine();
            } catch (Failure& failure) {
                cursor_.LeaveLine(start);
                failures.push_back({start, std::move(failure.message)});
            }
        }
        return std::move(document_);
    }

  private:
    void ReadHeader() {
        TextView header = cursor_.TakeLine();
        while (!header.empty() && IsBlank(header.back())) header.remove_suffix(1);
        if (header == kHeaderRegedit4) {
            document_.format = RegFormat::Regedit4;
        } else if (header != kHeaderVersion5) {
            Cursor::FailAt(0, "not a registry file: the first line is no known header");
        }
        cursor_.FinishLine();
    }

    void ReadLine() {
        cursor_.SkipBlanks();
        switch (cursor_.Peek()) {
            case u'[':
                return ReadKey();
            case u'@':
            case u'"':
                return ReadEntry();
            case u';':
                break;
            default:
                if (!cursor_.AtLineEnd()) cursor_.Fail("neither a key, a value nor a comment");
        }
        cursor_.FinishLine();
    }

    void ReadKey() {
        cursor_.Accept(u'[');
        hasKey_ = false;  // what follows belongs to no other key
        RegSection section;
        section.isDeletion = cursor_.Accept(u'-');
        const TextView rest = cursor_.TakeLine();
        const std::size_t end = rest.rfind(u']');
        if (end == TextView::npos) cursor_.Fail("the key's name has no closing bracket");
        if (end == 0) cursor_.Fail("the key has no name");
        cursor_.MoveBack(rest.size() - end - 1);
        section.key = rest.substr(0, end);
        std::string wrong = check_ ? check_(section.key) : std::string();
        if (!wrong.empty()) cursor_.Fail(std::move(wrong));
        cursor_.FinishLine();
        document_.sections.push_back(std::move(section));
        hasKey_ = true;
    }

    void ReadEntry() {
        if (!hasKey_) cursor_.Fail("a value stands behind no key");
        RegEntry entry;
        if (!cursor_.Accept(u'@')) entry.name = ReadQuoted();
        cursor_.SkipBlanks();
        if (!cursor_.Accept(u'=')) cursor_.Fail("no = behind the value's name");
        cursor_.SkipBlanks();
        ReadData(entry);
        cursor_.FinishLine();
        document_.sections.back().entries.push_back(std::move(entry));
    }

    Text ReadQuoted() {
        const std::size_t start = cursor_.Position();
        cursor_.Accept(u'"');
        Text text;
        for (;;) {
            text += cursor_.TakeUntil(u"\"\\");
            if (cursor_.Accept(u'"')) return text;
            if (cursor_.AtEnd()) Cursor::FailAt(start, "the quoted text is not closed");
            text += ReadEscape();
        }
    }

    char16_t ReadEscape() {
        constexpr TextView kEscapes = u"\\\"nr0";
        constexpr TextView kMeanings{u"\\\"\n\r\0", 5};
        cursor_.Accept(u'\\');
        const std::size_t index = cursor_.AtEnd() ? TextView::npos : kEscapes.find(cursor_.Peek());
        if (index == TextView::npos) cursor_.Fail("unknown escape in a quoted text");
        cursor_.TakeUnit();
        return kMeanings[index];
    }

    void ReadData(RegEntry& entry) {
        if (cursor_.Accept(u'-')) {
            entry.isDeletion = true;
        } else if (cursor_.Peek() == u'"') {
            entry.type = kString;
            entry.data = ToUtf16Bytes(ReadQuoted() += u'\0');
        } else if (cursor_.AcceptWord(u"dword:")) {
            cursor_.SkipBlanks();
            const std::uint32_t number = ReadNumber(8);
            entry.type = kDword;
            for (int shift = 0; shift < 32; shift += 8) {
                entry.data.push_back(static_cast<std::uint8_t>(number >> shift));
            }
        } else if (cursor_.AcceptWord(u"hex")) {
            ReadHex(entry);
        } else {
            cursor_.Fail("unknown kind of data");
        }
    }

    void ReadHex(RegEntry& entry) {
        entry.type = kBinary;
        std::size_t typeDigits = 1;
        if (cursor_.Accept(u'(')) {
            const std::size_t start = cursor_.Position();
            entry.type = ReadNumber(8);
            typeDigits = cursor_.Position() - start;
            if (!cursor_.Accept(u')')) cursor_.Fail("no ) behind the type of hex data");
        }
        if (!cursor_.Accept(u':')) cursor_.Fail("no : before the hex data");
        entry.data = ReadHexBytes();
        const bool isStoredForm = typeDigits == 2;  // the mark that the writer gives
        if (document_.format == RegFormat::Regedit4 && IsTextType(entry.type) && !isStoredForm) {
            const std::string narrow(entry.data.begin(), entry.data.end());
            entry.data = ToUtf16Bytes(codePage_.decode(narrow));
        }
    }

    Bytes ReadHexBytes() {
        Bytes bytes;
        cursor_.SkipBlanks();
        if (cursor_.AtLineEnd() || cursor_.Peek() == u';') return bytes;
        do {
            SkipContinuation();
            bytes.push_back(static_cast<std::uint8_t>(ReadNumber(2)));
            cursor_.SkipBlanks();
        } while (cursor_.Accept(u','));
        return bytes;
    }

    /// Skips blanks, and a backslash with all lines behind it that hold no data.
    void SkipContinuation() {
        cursor_.SkipBlanks();
        if (!cursor_.Accept(u'\\')) return;
        do {
            cursor_.FinishLine();
            cursor_.SkipBlanks();
        } while (!cursor_.AtEnd() && (cursor_.AtLineEnd() || cursor_.Peek() == u';'));
    }

    std::uint32_t ReadNumber(std::size_t mostDigits) {
        std::uint32_t number = 0;
        std::size_t count = 0;
        for (; DigitValue(cursor_.Peek()) < 16; ++count) {
            if (count == mostDigits) cursor_.Fail("a hexadecimal number is too long");
            number = number << 4 | DigitValue(cursor_.TakeUnit());
        }
        if (count == 0) cursor_.Fail("a hexadecimal number is missing");
        return number;
    }

    Cursor cursor_;
    const RegCodePage& codePage_;
    const RegKeyCheck& check_;
    RegDocument document_;
    bool hasKey_ = false;
};

constexpr std::uint8_t kUtf16Mark[] = {0xFF, 0xFE};
constexpr std::uint8_t kUtf8Mark[] = {0xEF, 0xBB, 0xBF};

bool BeginsWith(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> start) {
    return bytes.size() >= start.size() && std::ranges::equal(bytes.first(start.size()), start);
}

Text DecodeUtf16(std::span<const std::uint8_t> bytes) {
    Text text = FromUtf16Bytes(bytes);
    if (bytes.size() % 2 != 0) {
        throw RegParseError{LineOf(text, text.size()), "the file ends within a character"};
    }
    return text;
}

/// Lone surrogates are accepted in their three-byte form.
Text DecodeUtf8(std::string_view bytes) {
    Text text = FromWtf8(bytes);
    const std::string again = ToWtf8(text);
    if (again != bytes) {
        const auto difference = std::ranges::mismatch(bytes, again).in1;
        const std::string_view valid(bytes.begin(), difference);
        throw RegParseError{LineOf(FromWtf8(valid), valid.size()), "malformed UTF-8"};
    }
    return text;
}

/// Failures in their order, by lines.
std::vector<RegParseError> WithLines(TextView text, std::vector<Failure> failures) {
    std::vector<RegParseError> errors;
    std::size_t line = 1;
    std::size_t at = 0;
    for (Failure& failure : failures) {
        line += LineOf(text.substr(at), failure.position - at) - 1;
        at = failure.position;
        errors.push_back({line, std::move(failure.message)});
    }
    return errors;
}

/// The file as text, without its mark.
Text DecodeFile(std::span<const std::uint8_t> file, const RegCodePage& codePage) {
    if (BeginsWith(file, kUtf16Mark)) return DecodeUtf16(file.subspan(std::size(kUtf16Mark)));
    if (file.size() >= 2 && file[0] != 0 && file[1] == 0) return DecodeUtf16(file);
    const bool hasUtf8Mark = BeginsWith(file, kUtf8Mark);
    if (hasUtf8Mark) file = file.subspan(std::size(kUtf8Mark));
    const std::string_view bytes(reinterpret_cast<const char*>(file.data()), file.size());
    const bool isCodePage = !hasUtf8Mark && bytes.starts_with("REGEDIT4");
    return isCodePage ? codePage.decode(bytes) : DecodeUtf8(bytes);
}

}  // namespace

std::variant<RegDocument, RegParseError> ParseRegText(std::span<const std::uint8_t> file,
                                                      const RegCodePage& codePage,
                                                      const RegKeyCheck& check,
                                                      std::vector<RegParseError>* passedOver) {
    try {
        const Text text = DecodeFile(file, codePage);
        try {
            Parser parser(text, codePage, check);
            if (passedOver == nullptr) return parser.Parse();
            std::vector<Failure> failures;
            RegDocument document = parser.ParseWhatIsWhole(failures);
            *passedOver = WithLines(text, std::move(failures));
            return document;
        } catch (Failure& failure) {
            return RegParseError{LineOf(text, failure.position), std::move(failure.message)};
        }
    } catch (RegParseError& error) {
        return std::move(error);
    }
}

}  // namespace bkfd
