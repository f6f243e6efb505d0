#pragma once

#include "base/RuntimeError.h"

struct tagEXCEPINFO;

namespace bkfd {

/// The error that a failed late-bound call tells: the one that the callee described, or the
/// HRESULT with the system's text. Run-time error numbers travel in the low half of an HRESULT.
RuntimeError ErrorOfCall(std::int32_t result, tagEXCEPINFO& described);

/// The other way round: fills `described` and returns the HRESULT for the error that is being
/// handled. Call it inside a catch block.
std::int32_t ReportCurrentError(tagEXCEPINFO* described);

}  // namespace bkfd
