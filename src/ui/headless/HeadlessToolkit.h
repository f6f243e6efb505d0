#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "ui/Toolkit.h"

namespace bkfd {

/// A toolkit without a screen: message boxes take their answers from a script.
class HeadlessToolkit : public Toolkit {
  public:
    struct Shown {
        Text prompt;
        int style = 0;
        Text title;
        Pointer pointer = Pointer::Default;  // the shape while the box was up
    };

    /// Answers for the next message boxes, in order. A box without an answer left is a RuntimeError
    /// whose description holds the prompt.
    void Answer(std::initializer_list<MessageResult> answers);
    const std::vector<Shown>& Messages() const { return shown_; }
    bool HasAnswersLeft() const { return !answers_.empty(); }

    /// Called at each `PumpMessages`; tests move their clock on here.
    std::function<void()> onPump;

    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;
    void PumpMessages() override;

  private:
    std::deque<MessageResult> answers_;
    std::vector<Shown> shown_;
};

}  // namespace bkfd
