#include "cli/decode/XmlReader.h"

#include <expat.h>

#include <algorithm>
#include <new>

namespace bkfd {
namespace {

constexpr int kDeepestElement = 64;
// The parser goes through what it has of a tag or comment anew with each piece.
constexpr std::size_t kLongestToken = std::size_t{1} << 20;
constexpr std::size_t kParsedPiece = 64 * 1024;

}  // namespace

/// An exception must not cross the parser, which is C.
struct XmlReader::Callbacks {
    template <class Body>
    static void Call(void* self, Body&& body) {
        auto& reader = *static_cast<XmlReader*>(self);
        if (reader.thrown_ || reader.refusal_ != nullptr) return;
        try {
            body(reader);
        } catch (...) {
            reader.thrown_ = std::current_exception();
            XML_StopParser(reader.parser_, XML_FALSE);
        }
    }

    static void Start(void* self, const char* name, const char** attributes) {
        Call(self, [&](XmlReader& reader) {
            if (++reader.depth_ > kDeepestElement) return reader.Refuse("it is nested too deeply");
            reader.handler_.OnStart(name, attributes);
        });
    }
    static void End(void* self, const char* name) {
        Call(self, [&](XmlReader& reader) {
            --reader.depth_;
            reader.handler_.OnEnd(name);
        });
    }
    static void Characters(void* self, const char* text, int length) {
        Call(self, [&](XmlReader& reader) {
            reader.handler_.OnText({text, static_cast<std::size_t>(length)});
        });
    }
    static void Comment(void* self, const char*) {
        Call(self, [](XmlReader& reader) { reader.handler_.OnRemark(); });
    }
    static void Instruction(void* self, const char*, const char*) { Comment(self, nullptr); }
    static void Doctype(void* self, const char*, const char*, const char*, int) {
        Call(self, [](XmlReader& reader) { reader.Refuse("it has a document type"); });
    }
};

XmlReader::XmlReader(XmlHandler& handler) : handler_(handler), parser_(XML_ParserCreate(nullptr)) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, &Callbacks::Start, &Callbacks::End);
    XML_SetCharacterDataHandler(parser_, &Callbacks::Characters);
    XML_SetCommentHandler(parser_, &Callbacks::Comment);
    XML_SetProcessingInstructionHandler(parser_, &Callbacks::Instruction);
    XML_SetStartDoctypeDeclHandler(parser_, &Callbacks::Doctype);
}

XmlReader::~XmlReader() {
    XML_ParserFree(parser_);
}

bool XmlReader::Parse(std::string_view piece, bool isLast) {
    do {
        const std::string_view part = piece.substr(0, kParsedPiece);
        piece.remove_prefix(part.size());
        const bool isEnd = isLast && piece.empty();
        const auto status = XML_Parse(parser_, part.data(), static_cast<int>(part.size()), isEnd);
        if (thrown_) std::rethrow_exception(thrown_);
        if (status != XML_STATUS_OK) return false;
        fed_ += part.size();
        const XML_Index done = std::max<XML_Index>(XML_GetCurrentByteIndex(parser_), 0);
        if (fed_ - static_cast<std::size_t>(done) > kLongestToken) {
            refusal_ = "a tag or comment is longer than 1 MiB";
            return false;
        }
    } while (!piece.empty());
    return true;
}

void XmlReader::Refuse(const char* reason) {
    refusal_ = reason;
    XML_StopParser(parser_, XML_FALSE);
}

std::string XmlReader::Error() const {
    const char* reason =
        refusal_ != nullptr ? refusal_ : XML_ErrorString(XML_GetErrorCode(parser_));
    return std::string(reason) + " in line " + std::to_string(XML_GetCurrentLineNumber(parser_));
}

}  // namespace bkfd
