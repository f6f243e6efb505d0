#pragma once

#include <string>
#include <vector>

#include "cli/Console.h"

namespace bkfd {

/// Rows of cells with aligned columns. Cells are UTF-8, safe for a terminal.
class TextTable {
  public:
    explicit TextTable(std::vector<std::string> headings) : headings_(std::move(headings)) {}

    void AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    /// The headings emphasised where the console can; the last column isn't padded.
    void Print(const Console& console, const std::string& indent = {}) const;

  private:
    std::vector<std::size_t> Widths() const;

    std::vector<std::string> headings_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace bkfd
