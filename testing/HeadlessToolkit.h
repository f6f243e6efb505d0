#pragma once

#include <deque>
#include <functional>
#include <map>
#include <vector>

#include "ui/Toolkit.h"

namespace bkfd {

/// A toolkit without a screen: message boxes, popup menus and modal windows take what the user does
/// from a script. Timers have a clock of their own that stands still until it is told to go.
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

    /// What the user does at the next `WaitForInput` of a modal or main loop, one action each. A
    /// wait without an action fires the timer that is due next; without one it is a RuntimeError
    /// whose description names the active form.
    void Then(std::function<void()> action) { actions_.push_back(std::move(action)); }
    bool HasActionsLeft() const { return !actions_.empty(); }

    /// The names of the entries that the user picks from the next popup menus; empty closes one
    /// without a choice. A popup menu without a pick left, or without such a visible and enabled
    /// entry, is a RuntimeError.
    void Pick(std::initializer_list<Text> entries);
    /// The visible captions of each popup menu so far.
    const std::vector<std::vector<Text>>& Popups() const { return popups_; }

    /// Moves the timers' clock on and fires what comes due on the way, in order.
    void AdvanceTimers(int milliseconds);

    /// Called at each `PumpMessages`; tests move their clock on here.
    std::function<void()> onPump;

    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override;
    void PumpMessages() override;
    void WaitForInput() override;
    void StartTimer(Timer& timer, int milliseconds) override;
    void StopTimer(Timer& timer) override;
    MenuItem* ShowPopupMenu(Form& form, MenuItem& menu) override;
    /// The place of a loaded form among the others, from 1.
    std::uintptr_t NativeHandle(const Control& form) override;

  private:
    std::deque<MessageResult> answers_;
    std::vector<Shown> shown_;
    std::deque<std::function<void()>> actions_;
    std::deque<Text> picks_;
    std::vector<std::vector<Text>> popups_;
    std::int64_t now_ = 0;
    std::multimap<std::int64_t, Timer*> timers_;  // by the time at which they are due
};

}  // namespace bkfd
