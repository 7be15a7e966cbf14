#include "terminal/table.h"

#include <algorithm>
#include <numeric>

#include "terminal/terminaltext.h"

namespace kzterminal {
namespace {

constexpr char kGap[] = "  ";
constexpr std::size_t kGapWidth = sizeof kGap - 1;

std::string Fitted(const std::string& text, std::size_t width, Table::Alignment alignment) {
    const std::size_t needed = WidthOf(text);
    if (needed > width) return Fitted(CutInTheMiddle(text, width), width, alignment);
    const std::string blanks(width - needed, ' ');
    return alignment == Table::Left ? text + blanks : blanks + text;
}

}  // namespace

/// Of all columns, as their cells have them.
std::vector<std::size_t> Table::Widths() const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        widths.push_back(WidthOf(m_columns[i].title));
        for (const auto& row : m_rows) widths[i] = std::max(widths[i], WidthOf(row[i]));
    }
    return widths;
}

/// Leaves out what must be left out, and then has cells cut no more than they must be.
void Table::MakeRoom(std::vector<std::size_t>& shown, std::vector<std::size_t>& widths,
                     std::size_t room) const {
    const auto leastWidth = [&](std::size_t i) {
        return std::min(widths[i], m_columns[i].leastWidth);
    };
    const auto needed = [&] {
        std::size_t sum = (shown.size() - 1) * kGapWidth;
        for (const std::size_t i : shown) sum += leastWidth(i);
        return sum;
    };
    while (needed() > room) {
        const auto lowest = std::min_element(
            shown.begin(), shown.end(),
            [&](std::size_t a, std::size_t b) { return m_columns[a].rank < m_columns[b].rank; });
        if (m_columns[*lowest].rank == kAlwaysShown) break;
        shown.erase(lowest);
    }
    std::size_t rest = room - std::min(room, needed());
    for (const std::size_t i : shown) {
        const std::size_t least = leastWidth(i);
        const std::size_t more = std::min(rest, widths[i] - least);
        widths[i] = least + more;
        rest -= more;
    }
}

std::vector<std::string> Table::Lines(std::size_t room) const {
    std::vector<std::size_t> shown(m_columns.size());
    std::iota(shown.begin(), shown.end(), 0);
    std::vector<std::size_t> widths = Widths();
    MakeRoom(shown, widths, room);
    std::vector<std::string> lines;
    const auto add = [&](const auto& textOf) {
        std::string line;
        for (const std::size_t i : shown)
            line += (i == shown.front() ? "" : kGap) +
                    Fitted(textOf(i), widths[i], m_columns[i].alignment);
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    };
    add([&](std::size_t i) { return m_columns[i].title; });
    for (const auto& row : m_rows) add([&](std::size_t i) { return row[i]; });
    return lines;
}

}  // namespace kzterminal
