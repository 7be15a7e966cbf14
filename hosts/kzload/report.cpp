#include "report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <tuple>
#include <utility>

#include "kzstatpointkind.h"
#include "ryp/truncate.h"
#include "terminal/table.h"
#include "terminal/terminaltext.h"

namespace kzload {
namespace {

using Type = CKZStatPointTypeEnum;

constexpr std::size_t kMaxBarColumns = 40;

[[gnu::format(printf, 1, 2)]] std::string Text(const char* format, ...) {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return buffer;
}

bool IsDuration(Type::PointType type) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(type);
    return kind != nullptr && kind->isDuration;
}

/// A time of a row in milliseconds; up to 99,999, rows fit eighty columns.
std::string TimeCell(bool isKnown, double time) {
    return isKnown ? Text(" %8.2f", time) : Text(" %8s", "-");
}

std::string ValueText(const Total& total, double value) {
    return Text("%.*f", IsDuration(total.type) ? 2 : 0, value);
}

std::string PercentileText(const Total& total, double Percentiles::*percentile) {
    return total.percentiles ? ValueText(total, *total.percentiles.*percentile) : "-";
}

/// A column of the final table. Where there is no room for all, those of the lowest priority are
/// left out first.
struct TotalsColumn {
    const char* title;
    int priority;
    std::string (*text)(const Total& total);
};

constexpr int kMaxPriority = 4;
constexpr TotalsColumn kTotalsColumns[] = {
    {"count", kMaxPriority, [](const Total& total) { return Text("%.0f", total.values.count); }},
    {"mean", 3, [](const Total& total) { return Text("%.2f", total.values.Average()); }},
    {"min", 1, [](const Total& total) { return ValueText(total, total.values.minimum); }},
    {"p50", kMaxPriority,
     [](const Total& total) { return PercentileText(total, &Percentiles::p50); }},
    {"p95", kMaxPriority,
     [](const Total& total) { return PercentileText(total, &Percentiles::p95); }},
    {"p99", kMaxPriority,
     [](const Total& total) { return PercentileText(total, &Percentiles::p99); }},
    {"max", kMaxPriority,
     [](const Total& total) { return ValueText(total, total.values.maximum); }},
    {"sum", 2, [](const Total& total) { return ValueText(total, total.values.sum); }}};

/// The titles, then a line for each of `totals`.
std::vector<std::string> TotalsLines(const std::vector<Total>& totals, int minPriority) {
    using kzterminal::Table;
    std::vector<Table::Column> columns{{"totals", Table::Left}};
    for (const TotalsColumn& column : kTotalsColumns)
        if (column.priority >= minPriority) columns.push_back({column.title, Table::Right});
    Table table(std::move(columns));
    for (const Total& total : totals) {
        std::vector<std::string> cells{"  " + total.name};
        for (const TotalsColumn& column : kTotalsColumns)
            if (column.priority >= minPriority) cells.push_back(column.text(total));
        table.Add(std::move(cells));
    }
    return table.Lines();
}

bool Fit(const std::vector<std::string>& lines, std::size_t width) {
    return std::all_of(lines.begin(), lines.end(), [width](const std::string& line) {
        return kzterminal::WidthOf(line) <= width;
    });
}

}  // namespace

std::vector<std::string> Introduction(const Options& options, const std::string& url) {
    return {Text("%d clients on %d threads, think time %d ms, %g s in slices of %g s",
                 options.clients, options.threads, options.thinkTimeMilliseconds,
                 options.durationSeconds, options.sliceSeconds),
            "loading " + url + (options.url.empty() ? " (demo server of this process)" : ""),
            "errors are requests without an answer or with a status of 400 and above",
            "times are those of requests without an error", ""};
}

std::string RowHeader() {
    return "elapsed s clients requests/s  mean ms   p50 ms   p95 ms   p99 ms   max ms errors";
}

std::string RowLine(const SliceRow& row) {
    std::string line = Text("%9.2f %7.0f %10.1f", row.elapsed, row.clients, row.requestsPerSecond);
    line += TimeCell(row.hasTimes, row.mean);
    const Percentiles percentiles = row.percentiles.value_or(Percentiles{});
    for (const double time : {percentiles.p50, percentiles.p95, percentiles.p99})
        line += TimeCell(row.percentiles.has_value(), time);
    line += TimeCell(row.hasTimes, row.maximum);
    return line + Text(" %6lld", row.errors);
}

std::string ProgressLine(const Progress& progress, std::size_t width) {
    const double share = std::clamp(progress.elapsed / progress.duration, 0.0, 1.0);
    const std::string numbers =
        Text(" %3.0f%%  %.1f of %g s  %lld requests", 100 * share,
             std::min(progress.elapsed, progress.duration), progress.duration, progress.requests);
    constexpr std::size_t kBrackets = 2;
    if (width < numbers.size() + kBrackets + 1) return numbers.substr(0, width);
    const std::size_t bar = std::min(width - numbers.size() - kBrackets, kMaxBarColumns);
    const auto filled = RyPTruncate<std::size_t>(share * static_cast<double>(bar));
    return std::string("[").append(filled, '#').append(bar - filled, '.') + "]" + numbers;
}

std::vector<std::string> TotalsTable(std::vector<Total> totals, std::size_t width) {
    std::sort(totals.begin(), totals.end(), [](const Total& a, const Total& b) {
        return std::tie(a.type, a.name) < std::tie(b.type, b.name);
    });
    int minPriority = 1;
    std::vector<std::string> rows = TotalsLines(totals, minPriority);
    while (minPriority < kMaxPriority && !Fit(rows, width))
        rows = TotalsLines(totals, ++minPriority);
    std::vector<std::string> lines{"", rows.front()};
    Type::PointType group = Type::NotSet;
    for (std::size_t i = 0; i < totals.size(); ++i) {
        if (totals[i].type != group) lines.push_back(Type::GetStringFromEnumType(totals[i].type));
        group = totals[i].type;
        lines.push_back(rows[i + 1]);
    }
    return lines;
}

std::vector<std::string> WhereTheRunIs(const std::string& journalFile) {
    return {"the run is in " + journalFile, "look at it with: kzstat show " + journalFile};
}

std::string RequestsLine(long long made, const Requests& requests) {
    std::string line = Text("requests made %lld, counted %lld", made, requests.Counted());
    if (requests.cutOff > 0) line += Text(", %lld of them cut off at the end", requests.cutOff);
    return line;
}

}  // namespace kzload
