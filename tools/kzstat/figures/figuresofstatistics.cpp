#include "figures/figuresofstatistics.h"

#include <utility>

#include "figures/statisticscolumns.h"

namespace kzstatprogram {

FiguresOfStatistics::FiguresOfStatistics(std::string title,
                                         const std::vector<Statistics>& statistics)
    : m_title(std::move(title)) {
    for (const Statistics& row : statistics) m_rows.emplace(row.name, &row);
}

std::vector<std::string> FiguresOfStatistics::Names() const {
    std::vector<std::string> names;
    for (const auto& [name, row] : m_rows) names.push_back(name);
    return names;
}

auto FiguresOfStatistics::Find(const std::string& name) const -> std::optional<Name> {
    const Statistics* const row = RowOf(name);
    if (row == nullptr) return std::nullopt;
    return Name{row->type, row->unit, row->distribution.has_value()};
}

std::optional<double> FiguresOfStatistics::ValueOf(const std::string& name,
                                                   const std::string& statistic) const {
    const Statistics* const row = RowOf(name);
    const std::optional<NumberColumn> column = FindNumberColumn(statistic);
    return row != nullptr && column ? column->valueOf(*row) : std::nullopt;
}

/// Null without the name.
const Statistics* FiguresOfStatistics::RowOf(const std::string& name) const {
    const auto found = m_rows.find(name);
    return found == m_rows.end() ? nullptr : found->second;
}

}  // namespace kzstatprogram
