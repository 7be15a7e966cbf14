#include "tables/comparisontable.h"

#include <cmath>

#include "terminal/terminaltext.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

using kzterminal::Table;

std::string Cell(const std::optional<double>& value) {
    return value ? ReadableNumber(*value) : "-";
}

std::string Signed(double value) {
    return std::string(value > 0 ? "+" : "").append(ReadableNumber(value));
}

std::string DifferenceCell(const ComparisonRow& row) {
    return row.before && row.after ? Signed(*row.after - *row.before) : "-";
}

std::string ShareCell(const ComparisonRow& row) {
    const std::optional<double> share = RelativeDifference(row.before, row.after);
    return share ? Signed(100 * *share) + "%" : "-";
}

std::string ProbabilityCell(const std::optional<double>& probability) {
    if (!probability) return "-";
    return *probability < 0.001 ? "<0.001" : ReadableNumber(*probability);
}

}  // namespace

std::string QuantityOf(const Difference& difference) {
    switch (difference.tested) {
        case Tested::Means:
            return std::string("mean ") + difference.before->unit;
        case Tested::RatesOfValues:
            return "values/s";
        case Tested::Levels:
            return "level";
        default:
            return "rate/s";
    }
}

std::vector<ComparisonRow> RowsOf(const std::vector<Difference>& differences) {
    std::vector<ComparisonRow> rows;
    for (const Difference& each : differences) {
        rows.push_back({each.before->name, QuantityOf(each), MeanOf(each.meanBefore),
                        MeanOf(each.meanAfter), each.probability, each.finding == Finding::Marked});
        for (const PercentileDifference& of : each.percentiles)
            rows.push_back({each.before->name, of.percentile.title + " " + each.before->unit,
                            of.before, of.after, of.probability, of.finding == Finding::Marked});
    }
    return rows;
}

Table TableOf(const std::vector<ComparisonRow>& rows, std::size_t nameWidth) {
    Table table({{"", Table::Left},
                 {"name", Table::Left},
                 {"of", Table::Left},
                 {"first", Table::Right},
                 {"second", Table::Right},
                 {"difference", Table::Right},
                 {"", Table::Right},
                 {"p", Table::Right}});
    for (const ComparisonRow& row : rows)
        table.Add({row.isMarked ? "*" : " ", kzterminal::Cut(row.name, nameWidth), row.quantity,
                   Cell(row.before), Cell(row.after), DifferenceCell(row), ShareCell(row),
                   ProbabilityCell(row.probability)});
    return table;
}

}  // namespace kzstatprogram
