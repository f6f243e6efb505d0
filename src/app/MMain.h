#pragma once

#include "base/Text.h"

namespace bkfd {

/// Offers the library's class to whoever creates it by the library's file name. Called once, before
/// the start-up.
void OfferLibraryClass();

/// Offers a stand-in for the component beside the program, whose own code runs on Windows only: its
/// `Init` leaves the logger as it is. For a machine held in files, before the start-up; where the
/// machine says that the component is missing, it stays missing.
void OfferCustomComponent();

/// Creates one object of each component that the program needs. False on the first failure, with
/// the message for the user; on success the message is empty.
bool CheckComponents(Text& message);

}  // namespace bkfd
