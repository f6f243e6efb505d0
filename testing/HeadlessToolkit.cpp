#include "testing/HeadlessToolkit.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "ui/Form.h"
#include "ui/Timer.h"

namespace bkfd {
namespace {

// Takes the front out first: what it does may add to the queue.
template <class T>
T TakeFront(std::deque<T>& queue, const Text& complaint) {
    if (queue.empty()) throw RuntimeError(ErrorNumber::Internal, complaint);
    T front = std::move(queue.front());
    queue.pop_front();
    return front;
}

}  // namespace

void HeadlessToolkit::Answer(std::initializer_list<MessageResult> answers) {
    answers_.insert(answers_.end(), answers);
}

void HeadlessToolkit::Pick(std::initializer_list<Text> entries) {
    picks_.insert(picks_.end(), entries);
}

MessageResult HeadlessToolkit::ShowMessageBox(const Text& prompt, int style, const Text& title) {
    shown_.push_back({prompt, style, title, CurrentPointer()});
    return TakeFront(answers_, u"Unexpected message box: " + prompt);
}

void HeadlessToolkit::PumpMessages() {
    if (onPump) onPump();
}

void HeadlessToolkit::WaitForInput() {
    if (actions_.empty() && !timers_.empty()) {
        AdvanceTimers(static_cast<int>(timers_.begin()->first - now_));
        return;
    }
    Form* active = Windows().Active();
    TakeFront(actions_, u"Nothing left to do in window " + (active ? active->Name() : Text()))();
}

void HeadlessToolkit::StartTimer(Timer& timer, int milliseconds) {
    timers_.emplace(now_ + milliseconds, &timer);
}

void HeadlessToolkit::StopTimer(Timer& timer) {
    std::erase_if(timers_, [&](const auto& entry) { return entry.second == &timer; });
}

void HeadlessToolkit::AdvanceTimers(int milliseconds) {
    const std::int64_t end = now_ + milliseconds;
    while (!timers_.empty() && timers_.begin()->first <= end) {
        now_ = timers_.begin()->first;
        timers_.begin()->second->Fire();
    }
    now_ = end;
}

MenuItem* HeadlessToolkit::ShowPopupMenu(Form&, MenuItem& menu) {
    std::vector<Text>& captions = popups_.emplace_back();
    for (const MenuItem* entry : menu.Entries()) {
        if (entry->Visible()) captions.push_back(entry->Caption());
    }
    const Text pick = TakeFront(picks_, u"Unexpected popup menu: " + menu.Name());
    if (pick.empty()) return nullptr;
    MenuItem* chosen = menu.Find(pick);
    if (!chosen || !chosen->Visible() || !chosen->Enabled()) {
        throw RuntimeError(ErrorNumber::Internal, u"The popup menu doesn't offer " + pick);
    }
    return chosen;
}

std::uintptr_t HeadlessToolkit::NativeHandle(const Control& form) {
    const auto& forms = Windows().Forms();
    const auto found = std::find(forms.begin(), forms.end(), &form);
    return found == forms.end() ? 0 : static_cast<std::uintptr_t>(found - forms.begin()) + 1;
}

}  // namespace bkfd
