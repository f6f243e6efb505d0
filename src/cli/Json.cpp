#include "cli/Json.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/JsonLine.h"

namespace bkfd {
namespace {

constexpr char kSurrogateLead = '\xED';  // with a second byte from A0 on

bool IsSurrogateAt(std::string_view text, std::size_t at) {
    return text[at] == kSurrogateLead && at + 2 < text.size() &&
           static_cast<unsigned char>(text[at + 1]) >= 0xA0;
}

/// UTF-8 in which a lone surrogate is three bytes.
Text FromGeneralisedUtf8(std::string_view text) {
    Text result;
    std::size_t from = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!IsSurrogateAt(text, at)) continue;
        result += FromUtf8(text.substr(from, at - from));
        const auto bits = [&](std::size_t i) { return static_cast<char16_t>(text[i] & 0x3F); };
        result += static_cast<char16_t>(0xD000 | bits(at + 1) << 6 | bits(at + 2));
        at += 2;
        from = at + 1;
    }
    return result += FromUtf8(text.substr(from));
}

/// As the library indents, but for the strings.
class Writer {
  public:
    explicit Writer(std::string& text) : text_(text) {}

    void Write(const Json& value) {
        if (value.is_object()) {
            WriteList('{', '}', value.items(), [&](const auto& member) {
                AppendJsonString(text_, FromGeneralisedUtf8(member.key()));
                text_ += ": ";
                Write(member.value());
            });
        } else if (value.is_array()) {
            WriteList('[', ']', value, [&](const Json& element) { Write(element); });
        } else if (value.is_string()) {
            AppendJsonString(text_, FromGeneralisedUtf8(value.get_ref<const std::string&>()));
        } else {
            text_ += value.dump();
        }
    }

  private:
    template <class List, class WriteOne>
    void WriteList(char open, char close, const List& list, WriteOne writeOne) {
        text_ += open;
        bool isEmpty = true;
        ++depth_;
        for (const auto& entry : list) {
            if (!isEmpty) text_ += ',';
            isEmpty = false;
            BreakLine();
            writeOne(entry);
        }
        --depth_;
        if (!isEmpty) BreakLine();
        text_ += close;
    }

    void BreakLine() { text_.append(1, '\n').append(2 * depth_, ' '); }

    std::string& text_;
    std::size_t depth_ = 0;
};

}  // namespace

Json TextToJson(TextView text) {
    std::string result;
    std::size_t from = 0;
    const auto isIn = [&](std::size_t at, char16_t first) {
        return at < text.size() && text[at] >= first && text[at] < first + 0x400;
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isIn(at, 0xD800) && !isIn(at, 0xDC00)) continue;
        if (isIn(at, 0xD800) && isIn(at + 1, 0xDC00)) {
            ++at;
            continue;
        }
        result += ToUtf8(text.substr(from, at - from));
        result += kSurrogateLead;
        result += static_cast<char>(0x80 | (text[at] >> 6 & 0x3F));
        result += static_cast<char>(0x80 | (text[at] & 0x3F));
        from = at + 1;
    }
    return result += ToUtf8(text.substr(from));
}

void PrintJson(std::ostream& out, const Json& document) {
    std::string text;
    Writer(text).Write(document);
    out << text << '\n';
}

}  // namespace bkfd
