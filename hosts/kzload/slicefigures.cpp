#include "slicefigures.h"

#include <algorithm>

#include "conditions/kinds.h"
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

const Total* Find(const std::vector<Total>& totals, const std::string& name) {
    const auto found = std::find_if(totals.begin(), totals.end(),
                                    [&](const Total& total) { return total.name == name; });
    return found == totals.end() ? nullptr : &*found;
}

double CountIn(const std::vector<Total>& totals, const Stat& stat) {
    const Total* const total = Find(totals, stat.name);
    return total == nullptr ? 0 : total->values.count;
}

}  // namespace

kzjournal::LoadSpan LoadOf(const CKZStatRun& run) {
    return {run.GetLoadBegin(), run.GetLoadEnd()};
}

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

void KeepLevels(const std::vector<Total>& before, std::vector<Total>& totals) {
    for (Total& total : totals) {
        const Total* const known =
            kzconditions::IsLevel(total.type) ? Find(before, total.name) : nullptr;
        if (known != nullptr) total = *known;
    }
}

Requests RequestsIn(const std::vector<Total>& totals) {
    const auto countOf = [&](const Stat& stat) {
        return RyPTruncate<long long>(CountIn(totals, stat));
    };
    return {countOf(kRequestsRate), countOf(kFailedRequestTime), countOf(kCutOffRequests)};
}

}  // namespace kzload
