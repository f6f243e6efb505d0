#include <string>
#include <string_view>
#include <vector>

// A program takes each instance of a template from the first file that has one. These stand in
// front of those that a library has which isn't optimised.
template class std::basic_string<char>;
template class std::basic_string<char16_t>;
template class std::basic_string_view<char>;
template class std::basic_string_view<char16_t>;
template class std::vector<unsigned char>;
template class std::vector<std::basic_string<char16_t>>;
