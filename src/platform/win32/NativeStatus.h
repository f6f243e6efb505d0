#pragma once

#include "platform/Result.h"

namespace bkfd {

/// The failure of the call just made; never a success, even where the call set no error.
Status LastFailure();
/// For calls that return nonzero on success.
Status StatusOf(int succeeded);
/// For a call that this system doesn't have.
Status NoSuchCall();

}  // namespace bkfd
