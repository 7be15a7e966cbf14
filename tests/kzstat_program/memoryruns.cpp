#include "kzstat_program/memoryruns.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "kzstatdistributionsum.h"

namespace {

using kzjournal::Slice;
using kzjournal::TimeRange;
using Slices = MemoryRun::Slices;

/// What several slices add up to.
class Sum {
public:
    void Add(const Slice& slice) {
        m_last = {slice.id, slice.elapsed, slice.endTime, {}, {}, {}};
        for (std::size_t i = 0; i < slice.records.size(); ++i) {
            const CKZStatMessageRecord& record = slice.records[i];
            Name& name = m_names[std::string(record.name.view())];
            CKZStatDistribution distribution;
            const bool isThere = slice.ReadDistribution(i, distribution);
            name.distribution.Add(record.lasts, isThere ? &distribution : nullptr);
            name.record.name = record.name;
            name.record.type = record.type;
            name.record.lasts.Add(record.lasts);
        }
    }

    Slice Get() const {
        Slice sum = m_last;
        for (const auto& [name, each] : m_names) {
            sum.records.push_back(each.record);
            sum.distributions.Add(each.distribution.Get());
        }
        return sum;
    }
    const CKZStatAggregate& ValuesOf(const RWCString& name) const {
        return m_names.at(std::string(name.view())).record.lasts;
    }
    const CKZStatDistribution* DistributionOf(const RWCString& name) const {
        return m_names.at(std::string(name.view())).distribution.Get();
    }

private:
    struct Name {
        CKZStatMessageRecord record;
        CKZStatDistributionSum distribution;
    };

    Slice m_last;
    std::map<std::string, Name> m_names;
};

class MemoryReader : public kzstatprogram::RunReader {
public:
    explicit MemoryReader(const MemoryRun& run) : m_run(run) {}

    void StopWhen(std::function<bool()> isRequested) override {
        m_isStopRequested = std::move(isRequested);
    }

    const kzjournal::Run& Facts() const override { return m_run.facts; }
    kzjournal::LoadSpan Load() override { return m_run.Load(); }
    bool HasEnded() override { return m_run.HasEnded(); }
    bool IsAbandoned() override { return false; }
    long long LostSlices() override { return HasEnded() ? m_run.lostSlices : 0; }
    long long ExpectedSlices() override { return CountSlices({}) + LostSlices(); }
    kzjournal::Completeness GetCompleteness() override {
        const long long expected = ExpectedSlices();
        const long long slices = expected - LostSlices();
        using State = kzjournal::Completeness;
        const auto ofEnded = expected > slices ? State::Lacking : State::Whole;
        return {HasEnded() ? ofEnded : State::NotEnded, slices, expected, false};
    }
    std::vector<kzjournal::Source> Sources() override { return m_run.sources; }
    std::vector<kzjournal::Note> Notes() override { return m_run.notes; }
    std::vector<std::string> Conditions() override { return m_run.conditions; }
    std::vector<int> SourcesOfSlice(int sliceId) override {
        const auto found = m_run.sourcesOfSlices.find(sliceId);
        return found == m_run.sourcesOfSlices.end() ? std::vector<int>() : found->second;
    }

    int LastSliceId() override {
        const Slices slices = m_run.AllSlices();
        return slices.empty() ? 0 : slices.back()->id;
    }
    long long CountSlices(const TimeRange& range) override {
        return static_cast<long long>(SlicesIn(range).size());
    }
    std::vector<double> SliceEnds(const TimeRange& range) override {
        std::vector<double> ends;
        for (const auto& slice : SlicesIn(range)) ends.push_back(slice->elapsed);
        return ends;
    }
    std::vector<kzjournal::Name> Names() override {
        std::vector<kzjournal::Name> names;
        for (const CKZStatMessageRecord& record : Summary({}))
            names.push_back({std::string(record.name.view()), record.type});
        std::sort(names.begin(), names.end(),
                  [](const auto& a, const auto& b) { return a.name < b.name; });
        return names;
    }

    std::optional<Slice> LastSlice(const TimeRange& range) override {
        const Slices slices = SlicesIn(range);
        return slices.empty() ? std::nullopt : std::optional(*slices.back());
    }
    void ForEachSlice(const TimeRange& range, const SliceVisitor& visit) override {
        Visit(SlicesIn(range), visit);
    }
    void ForEachSliceAfter(int sliceId, const SliceVisitor& visit, int most) override {
        Slices slices = m_run.AllSlices();
        const auto isBefore = [&](const auto& slice) { return slice->id <= sliceId; };
        slices.erase(slices.begin(), std::partition_point(slices.begin(), slices.end(), isBefore));
        slices.resize(std::min(slices.size(), static_cast<std::size_t>(most)));
        Visit(slices, visit);
    }
    void ForEachPoint(const std::string& name, const TimeRange& range,
                      const PointVisitor& visit) override {
        ForEachSlice(range, [&](const Slice& slice) {
            for (const CKZStatMessageRecord& record : slice.records)
                if (record.name == name.c_str()) visit({slice.id, slice.elapsed, record.lasts});
        });
    }
    void ForEachCost(const TimeRange& range, const CostVisitor& visit) override {
        ForEachSlice(range, [&](const Slice& slice) {
            if (slice.cost) visit({slice.id, slice.elapsed, *slice.cost});
        });
    }
    void ForEachSum(const TimeRange& range, const std::function<long long(double)>& groupOf,
                    const SliceVisitor& visit) override {
        std::map<long long, Sum> sums;
        ForEachSlice(range, [&](const Slice& slice) { sums[groupOf(slice.elapsed)].Add(slice); });
        for (const auto& [group, sum] : sums) visit(sum.Get());
    }
    void CheckSums() override {}

    std::vector<CKZStatMessageRecord> Summary(const TimeRange& range) override {
        std::vector<CKZStatMessageRecord> records;
        for (const kzjournal::NameSummary& each : SummaryWithDistributions(range))
            records.push_back(each.record);
        return records;
    }
    std::vector<kzjournal::NameSummary> SummaryWithDistributions(const TimeRange& range) override {
        const std::optional<Slice> last = LastSlice(range);
        std::vector<kzjournal::NameSummary> summary;
        if (!last) return summary;
        Sum sum;
        ForEachSlice(range, [&](const Slice& slice) { sum.Add(slice); });
        for (const CKZStatMessageRecord& record : last->records) {
            summary.push_back({record, std::nullopt});
            if (range.from > 0) summary.back().record.totals = sum.ValuesOf(record.name);
            if (const CKZStatDistribution* const distribution = sum.DistributionOf(record.name))
                summary.back().distribution = *distribution;
        }
        return summary;
    }

private:
    /// In the order of time.
    Slices SlicesIn(const TimeRange& range) const {
        constexpr double tolerance = 0.0015;
        Slices slices = m_run.AllSlices();
        const double first = range.from + m_run.facts.sliceLength - tolerance;
        std::erase_if(slices, [&](const auto& slice) {
            return (range.from > 0 && slice->elapsed < first) ||
                   slice->elapsed > range.to + tolerance;
        });
        std::sort(slices.begin(), slices.end(), [](const auto& a, const auto& b) {
            return std::tie(a->elapsed, a->id) < std::tie(b->elapsed, b->id);
        });
        return slices;
    }

    void Visit(const Slices& slices, const SliceVisitor& visit) const {
        for (const auto& slice : slices) {
            if (m_isStopRequested && m_isStopRequested()) throw kzjournal::Error("stopped");
            visit(*slice);
        }
    }

    const MemoryRun& m_run;
    std::function<bool()> m_isStopRequested;
};

}  // namespace

kzjournal::Slice SliceOf(const MadeSlice& made, bool hasDistributions) {
    Slice slice{made.facts.sliceId, made.facts.elapsed, made.facts.endTime,
                made.Text(),        made.records,       {}};
    if (hasDistributions)
        for (const CKZStatDistribution& each : made.distributions) slice.distributions.Add(&each);
    return slice;
}

void MemoryRun::Add(kzjournal::Slice slice) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_slices.push_back(std::make_shared<const Slice>(std::move(slice)));
}

void MemoryRun::End() {
    const RWMutexLock::LockGuard guard(m_lock);
    m_hasEnded = true;
}

void MemoryRun::SetLoad(const kzjournal::LoadSpan& load) {
    const RWMutexLock::LockGuard guard(m_lock);
    m_load = load;
}

kzjournal::LoadSpan MemoryRun::Load() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_load.value_or(kzjournal::LoadSpan{facts.loadBegin, facts.loadEnd});
}

MemoryRun::Slices MemoryRun::AllSlices() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_slices;
}

bool MemoryRun::HasEnded() const {
    const RWMutexLock::LockGuard guard(m_lock);
    return m_hasEnded;
}

MemoryRun& MemoryRuns::Make(const std::string& name, int source) {
    const kzjournal::Run facts = kzjournal::RunOfThisProcess("load", 1000, 1);
    return *m_runs.insert_or_assign({name, source}, std::make_unique<MemoryRun>(facts))
                .first->second;
}

std::unique_ptr<kzstatprogram::RunReader> MemoryRuns::Open(const std::string& name,
                                                           int source) const {
    const auto found = m_runs.find({name, source});
    if (found == m_runs.end()) throw kzjournal::Error("there is no run " + name);
    return std::make_unique<MemoryReader>(*found->second);
}
