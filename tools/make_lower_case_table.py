#!/usr/bin/env python3
"""Writes src/base/LowerCase.h: the simple lower-case mapping of the basic plane, as ranges.

Usage: tools/make_lower_case_table.py > src/base/LowerCase.h
The data is Python's copy of the Unicode character database; only mappings from one UTF-16 unit to
one other are kept, so that lower-casing never changes a text's length.
"""
import unicodedata


def pairs():
    for code in range(0x80, 0x10000):
        if 0xD800 <= code <= 0xDFFF:
            continue
        lower = chr(code).lower()
        if len(lower) == 1 and ord(lower) != code and ord(lower) < 0x10000:
            yield code, ord(lower) - code


def ranges():
    """Merges neighbours of one offset that stand one or two apart."""
    current = None
    for code, offset in pairs():
        if current and offset == current[3]:
            first, last, step, _ = current
            gap = code - last
            if gap in (1, 2) and (first == last or gap == step):
                current = (first, code, gap, offset)
                continue
        if current:
            yield current
        current = (code, code, 1, offset)
    yield current


print(f"""#pragma once

// Made by tools/make_lower_case_table.py from Unicode {unicodedata.unidata_version}; don't edit.

#include <cstdint>

namespace bkfd {{

/// Every `step`-th unit from `first` to `last` has its lower case `offset` further on.
struct LowerCaseRange {{
    char16_t first;
    char16_t last;
    std::uint8_t step;
    std::int32_t offset;
}};

// clang-format off
inline constexpr LowerCaseRange kLowerCaseRanges[] = {{""")
for first, last, step, offset in ranges():
    print(f"    {{0x{first:04X}, 0x{last:04X}, {step}, {offset}}},")
print("""};
// clang-format on

}  // namespace bkfd""")
