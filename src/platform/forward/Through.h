#pragma once

#include "platform/forward/ForwardMachine.h"

namespace bkfd::forward {

/// The outcome of a call: the gate's refusal, or the call's own.
template <class Outcome, class Call>
Outcome Through(CallGate& gate, const char* name, const Call& call) {
    const Status status = gate.Enter(name);
    if (!status.IsOk()) return status;
    return call();
}

/// The same for calls that have a value of their own for failure.
template <class Value, class Call>
Value Through(CallGate& gate, const char* name, Value refused, const Call& call) {
    return gate.Enter(name).IsOk() ? call() : refused;
}

}  // namespace bkfd::forward
