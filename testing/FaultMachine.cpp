#include "testing/FaultMachine.h"

namespace bkfd {

void FaultPlan::FailCall(std::size_t number, Lasting lasting, std::uint32_t code) {
    number_ = number;
    lasting_ = lasting;
    code_ = code;
    count_ = 0;
    failedCall_.clear();
}

Status FaultPlan::Enter(const char* call) {
    ++count_;
    if (number_ == 0 || count_ < number_) return {};
    if (count_ > number_ && lasting_ == Lasting::Once) return {};
    if (failedCall_.empty()) failedCall_ = call;
    return {code_};
}

}  // namespace bkfd
