#include "report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <tuple>
#include <utility>

#include "conditions/kinds.h"
#include "kzstatpointkind.h"
#include "ryp/truncate.h"
#include "terminal/bytes.h"
#include "terminal/namewords.h"
#include "terminal/table.h"
#include "terminal/terminaltext.h"

namespace kzload {
namespace {

using Type = CKZStatPointTypeEnum;
using kzconditions::IsAddedUp;

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

std::string ValueText(const Total& total, double value, bool isForPeople) {
    if (isForPeople && kzterminal::NamesBytes(total.name)) return kzterminal::ReadableBytes(value);
    return Text("%.*f", IsDuration(total.type) ? 2 : 0, value);
}

/// A column of the final table. Nothing stands for a dash.
struct TotalsColumn {
    const char* title;
    int rank;
    std::optional<double> (*value)(const Total& total);
};

/// Those of a counter tell in which steps it was counted, which hides its sum.
std::optional<double> OfValues(const Total& total, double value) {
    return IsAddedUp(total.type) ? std::nullopt : std::optional(value);
}

std::optional<double> PercentileOf(const Total& total, double Percentiles::*percentile) {
    return total.percentiles ? std::optional(*total.percentiles.*percentile) : std::nullopt;
}

constexpr char kCount[] = "count";
constexpr char kMean[] = "mean";
constexpr int kAlways = kzterminal::Table::kAlwaysShown;
constexpr std::size_t kMinNameColumns = 24;
constexpr TotalsColumn kTotalsColumns[] = {
    // A counter counts what its values add up to.
    {kCount, kAlways,
     [](const Total& total) {
         return std::optional(IsAddedUp(total.type) ? total.values.sum : total.values.count);
     }},
    {kMean, 3, [](const Total& total) { return OfValues(total, total.values.Average()); }},
    {"min", 1, [](const Total& total) { return OfValues(total, total.values.minimum); }},
    {"p50", 4, [](const Total& total) { return PercentileOf(total, &Percentiles::p50); }},
    {"p95", 5, [](const Total& total) { return PercentileOf(total, &Percentiles::p95); }},
    {"p99", kAlways, [](const Total& total) { return PercentileOf(total, &Percentiles::p99); }},
    {"max", kAlways, [](const Total& total) { return OfValues(total, total.values.maximum); }},
    {"sum", 2, [](const Total& total) { return std::optional(total.values.sum); }}};

std::string CellOf(const TotalsColumn& column, const Total& total, bool isForPeople) {
    const std::optional<double> value = column.value(total);
    if (!value) return "-";
    if (column.title == kCount && !IsAddedUp(total.type)) return Text("%.0f", *value);
    if (column.title == kMean && !(isForPeople && kzterminal::NamesBytes(total.name)))
        return Text("%.2f", *value);
    return ValueText(total, *value, isForPeople);
}

/// The titles, then a line for each of `totals`.
std::vector<std::string> TotalsLines(const std::vector<Total>& totals, std::size_t width) {
    using kzterminal::Table;
    std::vector<Table::Column> columns{{"totals", Table::Left, kAlways, kMinNameColumns}};
    for (const TotalsColumn& column : kTotalsColumns)
        columns.push_back({column.title, Table::Right, column.rank});
    Table table(std::move(columns));
    const bool isForPeople = width != std::string::npos;
    for (const Total& total : totals) {
        std::vector<std::string> cells{std::string("  ").append(kzterminal::Printable(total.name))};
        for (const TotalsColumn& column : kTotalsColumns)
            cells.push_back(CellOf(column, total, isForPeople));
        table.Add(std::move(cells));
    }
    return table.Lines(width);
}

bool TellsOfErrors(const Total& total) {
    return kzterminal::NamesErrors(total.name) && total.values.sum > 0;
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

std::vector<kzterminal::Output::Line> TotalsTable(std::vector<Total> totals, std::size_t width) {
    using Output = kzterminal::Output;
    std::sort(totals.begin(), totals.end(), [](const Total& a, const Total& b) {
        return std::tie(a.type, a.name) < std::tie(b.type, b.name);
    });
    const std::vector<std::string> rows = TotalsLines(totals, width);
    std::vector<Output::Line> lines{{""}, {rows.front()}};
    Type::PointType group = Type::NotSet;
    for (std::size_t i = 0; i < totals.size(); ++i) {
        if (totals[i].type != group) lines.push_back({Type::GetStringFromEnumType(totals[i].type)});
        group = totals[i].type;
        lines.push_back({rows[i + 1], TellsOfErrors(totals[i]) ? Output::Bad : Output::Plain});
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
