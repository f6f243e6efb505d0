#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bkfd {

/// Text is a sequence of 16-bit units, as Windows holds it: lone surrogates, embedded NULs and
/// texts that hold one byte a character are all valid. UTF-8 stands at the program's edges only.
using Text = std::u16string;
using TextView = std::u16string_view;
using Bytes = std::vector<std::uint8_t>;

/// UTF-8 to Text. Each malformed byte becomes U+FFFD.
Text FromUtf8(std::string_view utf8);
/// Text to valid UTF-8. A lone surrogate becomes U+FFFD.
std::string ToUtf8(TextView text);
/// Text to generalised UTF-8 (WTF-8), in which a lone surrogate keeps its three bytes; for names
/// that must come back unchanged from `FromWtf8`.
std::string ToWtf8(TextView text);
/// The inverse of `ToWtf8`. Other malformed bytes become U+FFFD.
Text FromWtf8(std::string_view wtf8);

/// One character for each byte, of the same value.
Text FromBytes(std::span<const std::uint8_t> bytes);
/// One byte for each character; the upper half of a character above 255 is dropped.
Bytes ToBytes(TextView text);
/// ASCII text from a C++ literal or number; bytes above 127 are not allowed.
Text FromAscii(std::string_view ascii);

/// Simple lower case of each UTF-16 unit in the basic plane, independent of any locale. The length
/// never changes.
Text ToLower(TextView text);
char16_t ToLower(char16_t unit);
bool EqualsIgnoreCase(TextView a, TextView b);
/// Negative, zero or positive, comparing the lower-cased units.
int CompareIgnoreCase(TextView a, TextView b);

/// What stands before the first NUL, where a text given to the system ends; all of a text without.
TextView UpToNul(TextView text);
/// Removes blanks (U+0020 only) from both ends.
Text Trim(TextView text);

/// Positions count from 1, and 0 means "not there". `start` may lie behind the end.
std::size_t Find(TextView text, TextView what, std::size_t start = 1);
/// The last position of `what`, or 0.
std::size_t FindLast(TextView text, TextView what);

/// The first `length` characters, or all of a shorter text. A negative length is a RuntimeError.
Text Left(TextView text, std::ptrdiff_t length);
/// The last `length` characters, or all of a shorter text. A negative length is a RuntimeError.
Text Right(TextView text, std::ptrdiff_t length);
/// Up to `length` characters from position `start`, counted from 1. A start below 1 or a negative
/// length is a RuntimeError.
Text Mid(TextView text, std::ptrdiff_t start, std::ptrdiff_t length);
Text Mid(TextView text, std::ptrdiff_t start);

/// Replaces every `what` that begins at position `start` or behind it; the text before `start`
/// stays as it is. Replaced text is not searched again.
Text Replace(TextView text, TextView what, TextView with, std::size_t start = 1);

/// Decimal text, with a leading minus sign for negative numbers.
Text ToText(std::int64_t number);
/// Eight upper-case hexadecimal digits.
Text ToHex(std::uint32_t number);

/// The path with a backslash at its end, unless it has one.
Text WithBackslash(TextView path);

}  // namespace bkfd
