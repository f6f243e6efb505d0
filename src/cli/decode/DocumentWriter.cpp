#include "cli/decode/DocumentWriter.h"

namespace bkfd {
namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";

/// What stands for a character, empty for itself. Line ends of attributes, and carriage returns
/// anywhere, would become something else when the document is read again.
std::string Reference(char c, bool isAttribute) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return isAttribute ? "&quot;" : "";
        case '\t':
        case '\n':
            return isAttribute ? "&#" + std::to_string(int{c}) + ";" : "";
        case '\r':
            return "&#13;";
        default:
            return "";
    }
}

}  // namespace

void DocumentWriter::OnStart(const char* name, const char** attributes) {
    EndStartTag();
    space_.clear();
    StartLine();
    if (!open_.empty()) open_.back().hasElements = true;
    Put("<");
    Put(name);
    for (; *attributes != nullptr; attributes += 2) {
        Put(" ");
        Put(attributes[0]);
        Put("=\"");
        PutEscaped(attributes[1], true);
        Put("\"");
        if (open_.size() == 1 && std::string_view(name) == "f" &&
            std::string_view(attributes[0]) == "i") {
            paths_.push_back(FromUtf8(attributes[1]));
        }
    }
    open_.emplace_back();
    isInStartTag_ = true;
}

void DocumentWriter::OnEnd(const char* name) {
    const Open element = open_.back();
    if (!element.hasElements) PutSpace();
    space_.clear();
    open_.pop_back();
    if (isInStartTag_) {
        isInStartTag_ = false;
        return Put(" />");
    }
    if (element.hasElements && !element.hasText) StartLine();
    Put("</");
    Put(name);
    Put(">");
}

void DocumentWriter::OnText(std::string_view text) {
    if (text.find_first_not_of(kWhiteSpace) == std::string_view::npos && !open_.back().hasText) {
        space_ += text;
        budget_.Take(space_.size());  // there must be room for it, should it stay
        budget_.GiveBack(space_.size());
        return;
    }
    PutSpace();
    EndStartTag();
    open_.back().hasText = true;
    PutEscaped(text, false);
}

std::string DocumentWriter::TakeDocument() {
    Put("\n");
    return std::move(document_);
}

void DocumentWriter::Put(std::string_view text) {
    budget_.Take(text.size());
    document_ += text;
}

void DocumentWriter::PutEscaped(std::string_view text, bool isAttribute) {
    std::size_t done = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string reference = Reference(text[i], isAttribute);
        if (reference.empty()) continue;
        Put(text.substr(done, i - done));
        Put(reference);
        done = i + 1;
    }
    Put(text.substr(done));
}

void DocumentWriter::PutSpace() {
    if (space_.empty()) return;
    EndStartTag();
    open_.back().hasText = true;
    PutEscaped(space_, false);
    space_.clear();
}

void DocumentWriter::EndStartTag() {
    if (isInStartTag_) Put(">");
    isInStartTag_ = false;
}

/// Text keeps its lines: nothing is put between it and an element.
void DocumentWriter::StartLine() {
    if (document_.empty() || (!open_.empty() && open_.back().hasText)) return;
    Put("\n");
    Put(std::string(open_.size(), ' '));
}

}  // namespace bkfd
