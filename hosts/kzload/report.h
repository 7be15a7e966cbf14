#ifndef KZLOAD_REPORT_H
#define KZLOAD_REPORT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "kzstataggregate.h"
#include "kzstatpointtypeenum.h"
#include "options.h"
#include "terminal/output.h"

namespace kzload {

/// What the user reads, as lines without their ends. These functions are safe for concurrent use.

/// Of the values of one name.
struct Percentiles {
    double p50;
    double p95;
    double p99;
};

/// One slice. Times are in milliseconds and mean nothing where no request ended.
struct SliceRow {
    double elapsed;
    double clients;
    double requestsPerSecond;
    bool hasTimes;
    double mean;
    std::optional<Percentiles> percentiles;
    double maximum;
    long long errors;
};

/// The requests of a run.
struct Requests {
    long long ended;
    long long failed;  // of those that ended
    long long cutOff;  // by the end of the load: how they would have ended is unknown

    long long Counted() const { return ended + cutOff; }
};

/// How far the run has come, in seconds.
struct Progress {
    double elapsed;
    double duration;
    long long requests;
};

/// One statistic over the whole run.
struct Total {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
    CKZStatAggregate values;
    std::optional<Percentiles> percentiles;
};

std::vector<std::string> Introduction(const Options& options, const std::string& url);
std::string RowHeader();
std::string RowLine(const SliceRow& row);
/// A line of at most `width` characters.
std::string ProgressLine(const Progress& progress, std::size_t width);
/// Sorted by type and name, with units for bytes. Where `width` columns are too few, cuts names,
/// then leaves out the minimum, the sum, the mean, p50 and p95; what remains may still be wider.
/// Without a width (`std::string::npos`) plain numbers, for programs. Errors that happened are
/// `Bad`.
std::vector<kzterminal::Output::Line> TotalsTable(std::vector<Total> totals, std::size_t width);
/// Where to go on looking.
std::vector<std::string> WhereTheRunIs(const std::string& journalFile);
std::string RequestsLine(long long made, const Requests& requests);

}  // namespace kzload

#endif
