#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/Text.h"

namespace bkfd {

/// A Windows code page, converted one character at a time by the C library's iconv, and by a table
/// where Windows differs. What a page lacks becomes what Windows takes for alike, else "?"; a byte
/// without a meaning keeps its value or gets a private character, as on Windows.
class CodePage {
  public:
    /// Windows' number: 1252, 932, 65001. See `IsKnown` for a number that may be none.
    explicit CodePage(std::uint32_t number);
    ~CodePage();
    CodePage(CodePage&&) noexcept;
    CodePage& operator=(CodePage&&) noexcept;

    static bool IsKnown(std::uint32_t number);

    std::string Encode(TextView text);
    Text Decode(std::string_view bytes);

  private:
    class Converter;
    class Table;

    const std::string& EncodeCharacter(TextView character);
    std::size_t DecodeCharacter(std::string_view bytes, Text& out);

    std::unique_ptr<const Table> table_;  // null for a page that isn't in it
    std::unique_ptr<Converter> toBytes_;
    std::unique_ptr<Converter> toText_;
    std::unordered_map<Text, std::string> encoded_;
};

}  // namespace bkfd
