#include "report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <tuple>

#include "kzstatpointkind.h"
#include "ryp/truncate.h"

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

std::string TotalLine(const Total& total) {
    const int digits = IsDuration(total.type) ? 2 : 0;
    const CKZStatAggregate& values = total.values;
    return Text("  %-23s %8.0f %10.2f %9.*f %9.*f %14.*f", total.name.c_str(), values.count,
                values.Average(), digits, values.minimum, digits, values.maximum, digits,
                values.sum);
}

}  // namespace

std::vector<std::string> Introduction(const Options& options, const std::string& url) {
    return {Text("%d clients on %d threads, think time %d ms, %g s in slices of %g s",
                 options.clients, options.threads, options.thinkTimeMilliseconds,
                 options.durationSeconds, options.sliceSeconds),
            "loading " + url + (options.url.empty() ? " (demo server of this process)" : ""),
            "errors are requests without an answer or with a status of 400 and above", ""};
}

std::string RowHeader() {
    return "elapsed s  clients  requests/s   mean ms    min ms    max ms   errors";
}

std::string RowLine(const SliceRow& row) {
    std::string line = Text("%9.2f %8.0f %11.1f", row.elapsed, row.clients, row.requestsPerSecond);
    line += row.hasTimes ? Text(" %9.2f %9.2f %9.2f", row.mean, row.minimum, row.maximum)
                         : Text(" %9s %9s %9s", "-", "-", "-");
    return line + Text(" %8lld", row.errors);
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

std::vector<std::string> TotalsTable(std::vector<Total> totals) {
    std::sort(totals.begin(), totals.end(), [](const Total& a, const Total& b) {
        return std::tie(a.type, a.name) < std::tie(b.type, b.name);
    });
    std::vector<std::string> lines{
        "", Text("%-25s %8s %10s %9s %9s %14s", "totals", "count", "mean", "min", "max", "sum")};
    Type::PointType group = Type::NotSet;
    for (const Total& total : totals) {
        if (total.type != group) lines.push_back(Type::GetStringFromEnumType(total.type));
        group = total.type;
        lines.push_back(TotalLine(total));
    }
    return lines;
}

std::vector<std::string> WhereTheRunIs(const std::string& journalFile) {
    return {"the run is in " + journalFile, "look at it with: kzstat show " + journalFile};
}

std::string RequestsLine(long long made, long long counted) {
    return Text("requests made %lld, counted %lld", made, counted);
}

}  // namespace kzload
