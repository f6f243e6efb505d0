#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

struct XML_ParserStruct;

namespace bkfd {

/// Is told what a document holds, in its order. Names and texts are UTF-8 and are there for the
/// call alone; one text may come in several calls. What a method throws comes out of `XmlReader`.
class XmlHandler {
  public:
    virtual ~XmlHandler() = default;

    /// `attributes` are names and values in turn, with a null pointer behind the last one.
    virtual void OnStart(const char* name, const char** attributes) = 0;
    virtual void OnEnd(const char* name) = 0;
    /// Characters, also of CDATA sections.
    virtual void OnText(std::string_view text) = 0;
    /// A comment or a processing instruction.
    virtual void OnRemark() = 0;
};

/// Parses XML 1.0 piece by piece, in the encoding that its mark or declaration tells, without
/// holding it. Documents with a document type, with elements more than 64 deep or with a tag or
/// comment of more than 1 MiB are refused.
class XmlReader {
  public:
    explicit XmlReader(XmlHandler& handler);
    ~XmlReader();
    XmlReader(const XmlReader&) = delete;
    XmlReader& operator=(const XmlReader&) = delete;

    /// False when the document is refused or isn't well-formed; nothing more may be read then.
    bool Read(std::string_view piece) { return Parse(piece, false); }
    bool Finish() { return Parse({}, true); }
    /// Why not: a clause with the line, such as "mismatched tag in line 2".
    std::string Error() const;

  private:
    struct Callbacks;

    bool Parse(std::string_view piece, bool isLast);
    void Refuse(const char* reason);

    XmlHandler& handler_;
    XML_ParserStruct* parser_;
    std::size_t fed_ = 0;
    int depth_ = 0;
    const char* refusal_ = nullptr;
    std::exception_ptr thrown_;
};

}  // namespace bkfd
