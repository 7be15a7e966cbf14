#ifndef KZTERMINAL_TABLE_H
#define KZTERMINAL_TABLE_H

#include <string>
#include <vector>

namespace kzterminal {

/// Cells in columns as wide as they need. Compatible.
class Table {
public:
    enum Alignment { Left, Right };
    struct Column {
        std::string title;
        Alignment alignment;
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    /// REQUIRES: a cell per column.
    void Add(std::vector<std::string> cells) { m_rows.push_back(std::move(cells)); }

    /// The titles, then the rows, without trailing blanks.
    std::vector<std::string> Lines() const;

private:
    const std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace kzterminal

#endif
