#ifndef KZTERMINAL_TABLE_H
#define KZTERMINAL_TABLE_H

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace kzterminal {

/// Cells in columns as wide as they need. Compatible.
class Table {
public:
    enum Alignment { Left, Right };
    static constexpr int kAlwaysShown = std::numeric_limits<int>::max();
    struct Column {
        std::string title;
        Alignment alignment;
        /// Where there is no room for all columns, those of the lowest rank are left out first, all
        /// of them.
        int rank = kAlwaysShown;
        /// Before a column is left out, cells are cut to this width: in the middle or, where both
        /// ends are those of others too, at the beginning.
        std::size_t leastWidth = std::string::npos;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    /// Cells are printable. REQUIRES: a cell per column.
    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }

    /// The titles, then the rows, without trailing blanks. In at most `room` columns of a terminal,
    /// unless what is always shown takes more.
    std::vector<std::string> Lines(std::size_t room = std::string::npos) const;

private:
    std::vector<std::size_t> Widths() const;
    static void CutCells(std::size_t column, std::size_t width,
                         std::vector<std::vector<std::string>>& rows);
    void MakeRoom(std::vector<std::size_t>& shown, std::vector<std::size_t>& widths,
                  std::size_t room) const;

    const std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace kzterminal

#endif
