#include "cli/Json.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/JsonLine.h"

namespace bkfd {
namespace {

/// As the library writes, indented or in one line, but for the strings.
class Writer {
  public:
    Writer(std::string& text, bool isIndented) : text_(text), isIndented_(isIndented) {}

    void Write(const Json& value) {
        if (value.is_object()) {
            WriteList('{', '}', value.items(), [&](const auto& member) {
                AppendJsonString(text_, FromWtf8(member.key()));
                text_ += isIndented_ ? ": " : ":";
                Write(member.value());
            });
        } else if (value.is_array()) {
            WriteList('[', ']', value, [&](const Json& element) { Write(element); });
        } else if (value.is_string()) {
            AppendJsonString(text_, FromWtf8(value.get_ref<const std::string&>()));
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

    void BreakLine() {
        if (isIndented_) text_.append(1, '\n').append(2 * depth_, ' ');
    }

    std::string& text_;
    bool isIndented_;
    std::size_t depth_ = 0;
};

}  // namespace

Json TextToJson(TextView text) {
    return ToWtf8(text);
}

Json ViewToJson(RegistryView view) {
    return view == RegistryView::Native ? Json() : Json("32-bit");
}

void AddView(RegistryView view, Json& item) {
    if (view != RegistryView::Native) item["view"] = ViewToJson(view);
}

void PrintJson(std::ostream& out, const Json& document) {
    std::string text;
    Writer(text, true).Write(document);
    out << text << '\n';
}

void PrintJsonLine(std::ostream& out, const Json& document) {
    std::string text;
    Writer(text, false).Write(document);
    out << text << '\n';
}

}  // namespace bkfd
