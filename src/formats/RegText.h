#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/Text.h"

/// Registry export files: "REGEDIT4" (8-bit) and "Windows Registry Editor Version 5.00" (UTF-16).
namespace bkfd {

enum class RegFormat { Regedit4, Version5 };

struct RegEntry {
    Text name;                // empty for the key's default value, written @
    bool isDeletion = false;  // "name"=-
    std::uint32_t type = 0;   // the registry's type number
    Bytes data;               // as the registry stores it: texts are UTF-16LE with their NUL

    bool operator==(const RegEntry&) const = default;
};

struct RegSection {
    Text key;                 // "HKEY_LOCAL_MACHINE\\Software\\..."
    bool isDeletion = false;  // [-key]
    std::vector<RegEntry> entries;

    bool operator==(const RegSection&) const = default;
};

struct RegDocument {
    RegFormat format = RegFormat::Version5;
    std::vector<RegSection> sections;
};

struct RegParseError {
    std::size_t line = 0;  // counted from 1
    std::string message;   // one clause, for people
};

/// Converts between Text and the 8-bit code page of a REGEDIT4 file.
struct RegCodePage {
    std::function<Text(std::string_view)> decode;
    std::function<std::string(TextView)> encode;
};

/// Reads a whole file: UTF-16LE with its mark, UTF-8 with or without a mark for version 5.00, the
/// code page for REGEDIT4 without a mark. The first malformed line is the error.
std::variant<RegDocument, RegParseError> ParseRegText(std::span<const std::uint8_t> file,
                                                      const RegCodePage& codePage);

/// The header line with its CR LF; version 5.00 has an empty line behind it, which is left out
/// here.
Text RegHeader(RegFormat format);
/// One section: "[key]", a line for each entry, an empty line; CR LF line ends, long hex data
/// continued with a backslash. In REGEDIT4 the expandable and multiple texts are in the code page.
Text FormatRegSection(const RegSection& section, RegFormat format, const RegCodePage& codePage);

}  // namespace bkfd
