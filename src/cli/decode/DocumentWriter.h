#pragma once

#include <string>
#include <vector>

#include "base/Text.h"
#include "cli/decode/OutputBudget.h"
#include "cli/decode/XmlReader.h"

namespace bkfd {

/// Writes a document as it is read, in UTF-8 without a declaration: a line an element, indented by
/// a blank a level. White space between elements, comments and instructions are left out.
class DocumentWriter final : public XmlHandler {
  public:
    explicit DocumentWriter(OutputBudget& budget) : budget_(budget) {}

    void OnStart(const char* name, const char** attributes) override;
    void OnEnd(const char* name) override;
    void OnText(std::string_view text) override;
    void OnRemark() override { hasRemarks_ = true; }

    std::string TakeDocument();
    bool HasRemarks() const { return hasRemarks_; }
    /// The attributes "i" of the elements "f" below the root.
    std::vector<Text> TakePaths() { return std::move(paths_); }
    /// The bytes that the document took of the budget so far.
    std::size_t Size() const { return document_.size(); }

  private:
    /// An element that isn't ended yet.
    struct Open {
        bool hasElements = false;
        bool hasText = false;
    };

    void Put(std::string_view text);
    void PutEscaped(std::string_view text, bool isAttribute);
    void PutSpace();
    void EndStartTag();
    void StartLine();

    OutputBudget& budget_;
    std::string document_;
    std::vector<Open> open_;
    std::string space_;  // white space that may turn out to be all of an element's text
    bool isInStartTag_ = false;
    bool hasRemarks_ = false;
    std::vector<Text> paths_;
};

}  // namespace bkfd
