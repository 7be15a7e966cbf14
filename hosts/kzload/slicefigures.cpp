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
    row.errors = RyPTruncate<long long>(LastsOf(slice, kFailedRequestTime).count);
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

Requests RequestsIn(const std::vector<Total>& totals) {
    const auto countOf = [&](const Stat& stat) {
        return RyPTruncate<long long>(CountIn(totals, stat));
    };
    return {countOf(kRequestsRate), countOf(kFailedRequestTime), countOf(kCutOffRequests)};
}

}  // namespace kzload
