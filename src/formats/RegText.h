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

    bool operator==(const RegDocument&) const = default;
};

struct RegParseError {
    std::size_t line = 0;  // counted from 1
    std::string message;   // one clause, for people

    bool operator==(const RegParseError&) const = default;
};

/// Converts between Text and the 8-bit code page of a REGEDIT4 file. `encode` may put anything in
/// the place of a character that the code page lacks.
struct RegCodePage {
    std::function<Text(std::string_view)> decode;
    std::function<std::string(TextView)> encode;
};

/// What is wrong with a key's name, as a clause; empty if nothing is.
using RegKeyCheck = std::function<std::string(TextView key)>;

/// Reads a whole file: UTF-16LE with or without its mark; UTF-8 with a mark, or without one for
/// version 5.00; the code page for REGEDIT4 without a mark. Lines end in CR LF, LF or CR. The first
/// malformed line is the error, and nothing else is returned then; a key that `check` finds wrong
/// makes its line malformed. With `passedOver`, malformed lines behind the first are noted there
/// and left out, as registry editors do, and so are the entries of a malformed key.
///
/// Inside quotes \\ \" \n \r and \0 are escapes (Wine's registry editor writes the last three), and
/// a line break belongs to the text. What a [-key] section holds is returned with it.
std::variant<RegDocument, RegParseError> ParseRegText(std::span<const std::uint8_t> file,
                                                      const RegCodePage& codePage,
                                                      const RegKeyCheck& check = {},
                                                      std::vector<RegParseError>* passedOver = {});

/// The header line with its CR LF; version 5.00 has an empty line behind it, which is left out
/// here.
Text RegHeader(RegFormat format);
/// One section as the registry editor writes it: "[key]", a line for each entry, an empty line; CR
/// LF line ends, hex data continued with a backslash before column 81. Every type and data comes
/// back unchanged from `ParseRegText`:
/// - A text is quoted if it is text with exactly one NUL, at its end, and without line breaks;
///   otherwise it is written as hex(1).
/// - In REGEDIT4 the hex data of the types 1, 2 and 7 is in the code page. Where that can't hold
///   it, the type number is written with two digits, as in hex(02), and the data as it is stored:
///   an extension of ours, the only one.
/// What the format has no form for: in REGEDIT4 names outside of the code page, which `encode`
/// replaces; in both, a key name with a line break. Such a section is written as a comment, so that
/// its entries don't fall to another key.
Text FormatRegSection(const RegSection& section, RegFormat format, const RegCodePage& codePage);

}  // namespace bkfd
