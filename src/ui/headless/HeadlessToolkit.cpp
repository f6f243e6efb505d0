#include "ui/headless/HeadlessToolkit.h"

#include "base/RuntimeError.h"

namespace bkfd {

void HeadlessToolkit::Answer(std::initializer_list<MessageResult> answers) {
    answers_.insert(answers_.end(), answers);
}

MessageResult HeadlessToolkit::ShowMessageBox(const Text& prompt, int style, const Text& title) {
    shown_.push_back({prompt, style, title, CurrentPointer()});
    if (answers_.empty()) {
        throw RuntimeError(ErrorNumber::Internal, u"Unexpected message box: " + prompt);
    }
    const MessageResult answer = answers_.front();
    answers_.pop_front();
    return answer;
}

void HeadlessToolkit::PumpMessages() {
    if (onPump) onPump();
}

}  // namespace bkfd
