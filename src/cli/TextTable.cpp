#include "cli/TextTable.h"

#include <algorithm>
#include <ostream>

#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

std::string Line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t column = 0; column < cells.size(); ++column) {
        if (column > 0) line += "  ";
        line += cells[column];
        if (column + 1 < cells.size()) {
            line.append(widths[column] - DisplayWidth(cells[column]), ' ');
        }
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::vector<std::size_t> TextTable::Widths() const {
    std::vector<std::size_t> widths(headings_.size());
    const auto widen = [&](const std::vector<std::string>& cells) {
        for (std::size_t column = 0; column < cells.size(); ++column) {
            widths[column] = std::max(widths[column], DisplayWidth(cells[column]));
        }
    };
    widen(headings_);
    for (const auto& row : rows_) widen(row);
    return widths;
}

void TextTable::Print(const Console& console, const std::string& indent) const {
    const std::vector<std::size_t> widths = Widths();
    console.out << indent << console.Bold(Line(headings_, widths)) << '\n';
    for (const auto& row : rows_) console.out << indent << Line(row, widths) << '\n';
}

}  // namespace bkfd
