#pragma once

#include "base/Text.h"

namespace bkfd {

/// Offers the library's class to whoever creates it by the library's file name. Called once, before
/// the start-up.
void OfferLibraryClass();

/// Creates one object of each component that the program needs. False on the first failure, with
/// the message for the user; on success the message is empty.
bool CheckComponents(Text& message);

}  // namespace bkfd
