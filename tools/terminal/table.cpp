#include "terminal/table.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <string_view>
#include <utility>

#include "terminal/terminaltext.h"

namespace kzterminal {
namespace {

constexpr char kGap[] = "  ";
constexpr std::size_t kGapWidth = sizeof kGap - 1;

std::string Padded(const std::string& text, std::size_t width, Table::Alignment alignment) {
    const std::string blanks(width - WidthOf(text), ' ');
    return alignment == Table::Left ? text + blanks : blanks + text;
}

bool IsDigit(char c) {
    return '0' <= c && c <= '9';
}

/// Characters that are not ASCII are in words, so that none is cut in half.
bool IsInWord(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return IsDigit(c) || ('A' <= c && c <= 'Z') || ('a' <= c && c <= 'z') || byte >= 0x80;
}

/// Where the texts begin to differ, with the word before: "step-17" and not "17".
std::size_t BeginOfDifference(const std::vector<std::string>& texts) {
    std::string_view same = texts.front();
    for (const std::string& text : texts) {
        const auto end = std::mismatch(same.begin(), same.end(), text.begin(), text.end()).first;
        same = same.substr(0, static_cast<std::size_t>(end - same.begin()));
    }
    while (!same.empty() && IsDigit(same.back())) same.remove_suffix(1);
    while (!same.empty() && !IsInWord(same.back())) same.remove_suffix(1);
    while (!same.empty() && IsInWord(same.back())) same.remove_suffix(1);
    return same.size();
}

/// The texts in at most `width` columns. Those that have both ends in common lose the beginning.
std::vector<std::string> CutTexts(const std::vector<std::string>& texts, std::size_t width) {
    std::vector<std::string> cut;
    std::map<std::string, std::vector<std::size_t>> alike;  // positions
    for (const std::string& text : texts) {
        cut.push_back(CutInTheMiddle(text, width));
        alike[cut.back()].push_back(cut.size() - 1);
    }
    for (const auto& [common, positions] : alike) {
        if (positions.size() < 2) continue;
        std::vector<std::string> group;
        for (const std::size_t i : positions) group.push_back(texts[i]);
        const std::size_t begin = BeginOfDifference(group);
        if (begin == 0) continue;
        for (const std::size_t i : positions)
            cut[i] = Cut(std::string("..").append(texts[i], begin), width);
    }
    return cut;
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
        const std::size_t lowest = *std::min_element(
            shown.begin(), shown.end(),
            [&](std::size_t a, std::size_t b) { return m_columns[a].rank < m_columns[b].rank; });
        const int rank = m_columns[lowest].rank;
        if (rank == kAlwaysShown) break;
        std::erase_if(shown, [&](std::size_t i) { return m_columns[i].rank == rank; });
    }
    std::size_t rest = room - std::min(room, needed());
    for (const std::size_t i : shown) {
        const std::size_t least = leastWidth(i);
        const std::size_t more = std::min(rest, widths[i] - least);
        widths[i] = least + more;
        rest -= more;
    }
}

/// Has the cells of the column fit its width.
void Table::CutCells(std::size_t column, std::size_t width,
                     std::vector<std::vector<std::string>>& rows) {
    std::vector<std::string> texts;
    texts.reserve(rows.size());
    for (const auto& row : rows) texts.push_back(row[column]);
    texts = CutTexts(texts, width);
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i][column] = std::move(texts[i]);
}

std::vector<std::string> Table::Lines(std::size_t room) const {
    std::vector<std::size_t> shown(m_columns.size());
    std::iota(shown.begin(), shown.end(), 0);
    const std::vector<std::size_t> wholeWidths = Widths();
    std::vector<std::size_t> widths = wholeWidths;
    MakeRoom(shown, widths, room);
    auto rows = m_rows;
    for (const std::size_t i : shown)
        if (widths[i] < wholeWidths[i]) CutCells(i, widths[i], rows);
    std::vector<std::string> lines;
    const auto add = [&](const auto& textOf) {
        std::string line;
        for (const std::size_t i : shown)
            line += (i == shown.front() ? "" : kGap) +
                    Padded(textOf(i), widths[i], m_columns[i].alignment);
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    };
    add([&](std::size_t i) { return CutInTheMiddle(m_columns[i].title, widths[i]); });
    for (const auto& row : rows) add([&](std::size_t i) { return row[i]; });
    return lines;
}

}  // namespace kzterminal
