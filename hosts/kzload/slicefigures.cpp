#include "slicefigures.h"

#include <algorithm>

#include "kzstatdistribution.h"
#include "ryp/truncate.h"
#include "statnames.h"

namespace kzload {
namespace {

/// What the slice says of `stat`: nothing where the name is not known yet.
CKZStatAggregate LastsOf(const CKZStatSliceValues& slice, const Stat& stat) {
    const CKZStatSliceValues::Record* const record = slice.FindRecord(stat.name);
    return record == nullptr ? CKZStatAggregate() : record->lasts;
}

std::optional<Percentiles> PercentilesOf(const CKZStatDistribution* distribution) {
    if (distribution == nullptr || distribution->GetCount() == distribution->GetNaNCount())
        return std::nullopt;
    return Percentiles{distribution->Quantile(0.50), distribution->Quantile(0.95),
                       distribution->Quantile(0.99)};
}

/// The sum of what `countOf` says of each statistic that counts errors.
template <class CountOf>
long long SumOfErrors(const CountOf& countOf) {
    double errors = 0;
    for (const Stat& error : kErrors) errors += countOf(error);
    for (long status = kLowestBadStatus; status / 100 <= kHighestClass; status += 100)
        errors += countOf(ResponseStat(status));
    return RyPTruncate<long long>(errors);
}

double CountIn(const std::vector<Total>& totals, const Stat& stat) {
    const auto found = std::find_if(totals.begin(), totals.end(),
                                    [&](const Total& total) { return total.name == stat.name; });
    return found == totals.end() ? 0 : found->values.count;
}

}  // namespace

SliceRow RowOf(const CKZStatSliceValues& slice) {
    const CKZStatAggregate times = LastsOf(slice, kRequestTime);
    SliceRow row{};
    row.elapsed = slice.GetElapsed();
    row.clients = LastsOf(slice, kClientsActive).sum;
    row.requestsPerSecond = LastsOf(slice, kRequestsRate).sum / slice.GetSliceLength();
    row.hasTimes = times.HasValues();
    row.mean = times.Average();
    if (const CKZStatSliceValues::Record* const record = slice.FindRecord(kRequestTime.name))
        row.percentiles = PercentilesOf(record->lastsDistribution);
    row.maximum = times.maximum;
    row.errors = SumOfErrors([&](const Stat& stat) { return LastsOf(slice, stat).count; });
    return row;
}

std::vector<Total> TotalsOf(const CKZStatSliceValues& slice) {
    std::vector<Total> totals;
    totals.reserve(slice.GetRecords().size());
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        totals.push_back({std::string(record.name), record.type, record.totals,
                          PercentilesOf(record.totalsDistribution)});
    return totals;
}

long long RequestsIn(const std::vector<Total>& totals) {
    return RyPTruncate<long long>(CountIn(totals, kRequestsRate));
}

long long ErrorsIn(const std::vector<Total>& totals) {
    return SumOfErrors([&](const Stat& stat) { return CountIn(totals, stat); });
}

}  // namespace kzload
