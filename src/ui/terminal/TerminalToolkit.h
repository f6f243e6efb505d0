#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "ui/Toolkit.h"

namespace bkfd {

/// Message boxes as questions on a terminal, windows as printed text with typed commands. All that
/// it writes goes to the message stream, so that results stay apart.
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

    /// The next line typed, without its end, or nothing at the end of the input.
    using LineReader = std::function<std::optional<std::string>()>;

    TerminalToolkit(std::ostream& messages, KeyReader readKey, Answers answers);

    /// Where the commands for windows come from. Without it they are read key by key.
    void ReadLinesBy(LineReader readLine) { readLine_ = std::move(readLine); }
    /// The keys are those of a file or a pipe, not of somebody who presses one at a time: a key
    /// that answers nothing takes the rest of its line with it, so that no letter inside a word
    /// agrees to anything.
    void ReadKeysFromLines() { keysComeInLines_ = true; }
    /// What is called before each question: keys pressed before it can't be meant as its answer.
    void DropTypedAheadBy(std::function<void()> drop) { dropTypedAhead_ = std::move(drop); }

    /// A box with OK alone is shown and not waited for. A question that nobody answers, because the
    /// input has ended or nobody is asked, takes its fixed answer and says so.
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;
    /// Prints the active window if it has changed. A terminal has no use for the time that a window
    /// stays up by itself: running timers fire at once.
    void PumpMessages() override;
    /// The same, and without a timer reads a command and follows it. The end of the input ends the
    /// program: nobody is there to close the windows.
    void WaitForInput() override;
    void StartTimer(Timer& timer, int milliseconds) override;
    void StopTimer(Timer& timer) override;
    /// Lists the entries and reads the number of one; anything else closes the menu.
    MenuItem* ShowPopupMenu(Form& form, MenuItem& menu) override;

  private:
    bool FireTimer();
    void ShowActive();
    std::optional<std::string> ReadLine(const char* prompt);
    MessageResult Ask();
    void SkipLine();
    MessageResult Announce(MessageResult answer, const char* why);

    std::ostream& messages_;
    KeyReader readKey_;
    Answers answers_;
    LineReader readLine_;
    bool keysComeInLines_ = false;
    std::function<void()> dropTypedAhead_ = [] {};
    std::vector<Timer*> timers_;
    std::string lastShown_;
};

}  // namespace bkfd
