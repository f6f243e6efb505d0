#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A box in which the user types. The text is kept as it is set, whatever it holds: embedded NULs
/// and lone surrogates stay until the user edits a box whose native side can't show them.
class TextBox : public Control {
  public:
    enum class Lines { One, Many };

    TextBox(Container& parent, Text name, Lines lines = Lines::One)
        : Control(&parent, std::move(name)), lines_(lines) {}

    bool IsMultiLine() const { return lines_ == Lines::Many; }
    bool IsReadOnly() const { return readOnly_; }
    /// Set before the form is shown.
    void SetReadOnly(bool readOnly) { readOnly_ = readOnly; }

    const Text& GetText() const { return text_; }
    /// Lines end in a carriage return and a line feed. The selection becomes empty, at the start.
    void SetText(Text text);

    /// The selection that the program or an entry below made last. The start counts from 0.
    std::size_t SelectionStart() const { return selectionStart_; }
    std::size_t SelectionLength() const { return selectionLength_; }
    /// Cut down to what the text holds, and scrolled into sight. A length of 0 places the caret.
    void Select(std::size_t start, std::size_t length);

    /// Shows, all selected, a text that only asks for one. As long as the box holds it, a click
    /// into the box or the focus selects all of it again, so that what is typed takes its place.
    void ShowPlaceholder(Text placeholder);
    bool HoldsPlaceholder() const { return !placeholder_.empty() && text_ == placeholder_; }
    void SelectPlaceholder();

    // The user's entries.
    /// The user has made `text` of the content; raises `onChange` if it is another one.
    void UserEdit(Text text);
    /// Puts `text` in the place of the selection, as typing does.
    void UserType(TextView text);
    void Click() override;

    /// Raised by the user's editing only, never by `SetText`.
    Event<> onChange;

    bool TakesFocus() const override { return true; }
    bool ActOnKey(int keyCode, int shift) override;
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    Lines lines_;
    bool readOnly_ = false;
    Text text_;
    Text placeholder_;
    std::size_t selectionStart_ = 0;
    std::size_t selectionLength_ = 0;
};

}  // namespace bkfd
