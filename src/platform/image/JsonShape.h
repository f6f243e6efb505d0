#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bkfd {

/// How a JSON text is built, as far as it can be read.
struct JsonShape {
    std::size_t depth = 0;  // of the deepest object or list
    std::string repeated;   // the first name that stands twice in one object, or empty
};

/// Takes time in proportion to the text, which the library's own way of looking on while it builds
/// a tree doesn't.
JsonShape ShapeOf(std::string_view json);

}  // namespace bkfd
