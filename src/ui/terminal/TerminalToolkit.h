#pragma once

#include <functional>
#include <iosfwd>
#include <optional>

#include "ui/Toolkit.h"

namespace bkfd {

/// Message boxes as questions on a terminal. All that it writes goes to the message stream, so that
/// results stay apart.
class TerminalToolkit : public Toolkit {
  public:
    /// Who answers the questions.
    enum class Answers {
        Ask,         // whoever sits at the keyboard
        SafeChoice,  // nobody: Cancel where the box has it
        Yes,         // nobody: OK to everything
    };
    /// The next key pressed, or nothing at the end of the input.
    using KeyReader = std::function<std::optional<char>()>;

    TerminalToolkit(std::ostream& messages, KeyReader readKey, Answers answers);

    /// A box with OK alone is shown and not waited for. A question that nobody answers, because the
    /// input has ended or nobody is asked, takes its fixed answer and says so.
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;

  private:
    MessageResult Ask();
    MessageResult Announce(MessageResult answer, const char* why);

    std::ostream& messages_;
    KeyReader readKey_;
    Answers answers_;
};

}  // namespace bkfd
