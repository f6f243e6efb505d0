#pragma once

namespace bkfd {

/// On its way from the place that ends the program to the main function, which alone takes it. Not
/// a std::exception, on purpose: the handlers of errors log and go on, and an end is no error.
struct ProgramEnd {};

}  // namespace bkfd
