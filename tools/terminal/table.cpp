#include "terminal/table.h"

#include <algorithm>

#include "terminal/terminaltext.h"

namespace kzterminal {
namespace {

constexpr char kGap[] = "  ";

std::string Padded(const std::string& text, std::size_t width, Table::Alignment alignment) {
    const std::string blanks(width - WidthOf(text), ' ');
    return alignment == Table::Left ? text + blanks : blanks + text;
}

}  // namespace

std::vector<std::string> Table::Lines() const {
    std::vector<std::string> titles;
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        titles.push_back(m_columns[i].title);
        widths.push_back(WidthOf(m_columns[i].title));
        for (const auto& row : m_rows) widths[i] = std::max(widths[i], WidthOf(row[i]));
    }
    const auto lineOf = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i)
            line += (i == 0 ? "" : kGap) + Padded(cells[i], widths[i], m_columns[i].alignment);
        line.erase(line.find_last_not_of(' ') + 1);
        return line;
    };
    std::vector<std::string> lines{lineOf(titles)};
    for (const auto& row : m_rows) lines.push_back(lineOf(row));
    return lines;
}

}  // namespace kzterminal
