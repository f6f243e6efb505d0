#pragma once

namespace bkfd {

/// Opens the program's home page in the user's browser; a failure is passed over.
void OpenHomePage();

}  // namespace bkfd
