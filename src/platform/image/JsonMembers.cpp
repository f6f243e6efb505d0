#include "platform/image/JsonMembers.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view TakeBlanks(std::string_view& rest) {
    const std::string_view blanks =
        rest.substr(0, std::min(rest.find_first_not_of(kBlanks), rest.size()));
    rest.remove_prefix(blanks.size());
    return blanks;
}

/// The length of the string literal at the start of `text`.
std::size_t LengthOfString(std::string_view text) {
    std::size_t end = 1;
    while (end < text.size() && text[end] != '"') end += text[end] == '\\' ? 2 : 1;
    return end + 1;
}

/// The length of the member at the start of `text`, up to the comma or brace behind it.
std::size_t LengthOfMember(std::string_view text) {
    int depth = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (depth == 0 && (c == ',' || c == '}')) break;
        if (c == '{' || c == '[') ++depth;
        if (c == '}' || c == ']') --depth;
        i += c == '"' ? LengthOfString(text.substr(i)) : 1;
    }
    return text.find_last_not_of(kBlanks, i - 1) + 1;
}

/// On one line where its object is, else a line for each part, indented as the object's members.
std::string Format(std::string_view name, const nlohmann::ordered_json& value,
                   std::string_view indent) {
    const std::string quoted = nlohmann::ordered_json(name).dump();
    const std::size_t lineBreak = indent.rfind('\n');
    if (lineBreak == std::string_view::npos) return quoted + ':' + value.dump();
    std::string text = quoted + ": ";
    for (const char c : value.dump(2)) {
        text += c;
        if (c == '\n') text += indent.substr(lineBreak + 1);
    }
    return text;
}

}  // namespace

JsonMembers::JsonMembers(std::string_view object) {
    const std::size_t begin = object.find('{') + 1;
    head_ = object.substr(0, begin);
    tail_ = object.substr(begin);
    std::string_view rest = tail_;
    std::string_view indent = TakeBlanks(rest);
    while (!rest.empty() && rest.front() == '"') {
        const std::string_view text = rest.substr(0, LengthOfMember(rest));
        const std::string_view name = text.substr(0, LengthOfString(text));
        members_.push_back({nlohmann::ordered_json::parse(name).get<std::string>(),
                            std::string(indent), std::string(text)});
        tail_ = rest.substr(text.size());
        rest = tail_;
        const std::string_view blanks = TakeBlanks(rest);
        if (rest.empty() || rest.front() != ',') break;
        members_.back().text += blanks;
        rest.remove_prefix(1);
        indent = TakeBlanks(rest);
    }
}

void JsonMembers::Put(std::string_view name, const nlohmann::ordered_json& value) {
    const auto found = std::ranges::find(members_, name, &Member::name);
    if (found != members_.end()) {
        found->text = Format(name, value, found->indent);
        return;
    }
    const std::string indent = members_.empty() ? std::string() : members_.back().indent;
    members_.push_back({std::string(name), indent, Format(name, value, indent)});
}

void JsonMembers::Erase(std::string_view name) {
    std::erase_if(members_, [name](const Member& member) { return member.name == name; });
}

std::string JsonMembers::Text() const {
    std::string text(head_);
    for (const Member& member : members_) {
        if (&member != &members_.front()) text += ',';
        text += member.indent + member.text;
    }
    return text += tail_;
}

}  // namespace bkfd
