#include "figures/distributionsamples.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "figures/statistics.h"
#include "figures/timeline.h"
#include "kzstatdistribution.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr long long kMostSamples = 300;
constexpr long long kLeastSamples = 60;
/// Some megabytes.
constexpr long long kMostSamplesOfAllNames = 30000;
/// Their samples take some 100 MB.
constexpr std::size_t kMostNames = 10000;

constexpr double kMostSlices = 1e15;

/// Which sample has the slice that ends then. Counted from the start of the run, as stored sums
/// are.
class Groups {
public:
    Groups(double sliceLength, long long slices) : m_sliceLength(sliceLength), m_slices(slices) {}

    long long Of(double elapsed) const {
        const double slice = std::round(elapsed / m_sliceLength) - 1;
        return static_cast<long long>(std::clamp(slice, 0.0, kMostSlices)) / m_slices;
    }

private:
    const double m_sliceLength;
    const long long m_slices;
};

/// Adds up sums in the order of time. Compatible.
class SampleMaker {
public:
    void Add(long long group, const kzjournal::Slice& sum) {
        if (m_group && *m_group != group) EndGroup();
        m_group = group;
        for (std::size_t i = 0; i < sum.records.size(); ++i) Add(sum, i);
    }

    std::map<std::string, DistributionSamples> Take() {
        EndGroup();
        std::map<std::string, DistributionSamples> samples;
        for (auto& [name, each] : m_names)
            if (each.isComplete) samples.emplace(name, std::move(each.samples));
        return samples;
    }

private:
    struct Name {
        CKZStatDistribution ofGroup;
        DistributionSamples samples;
        bool isComplete = true;
    };

    void Add(const kzjournal::Slice& sum, std::size_t position) {
        const CKZStatMessageRecord& record = sum.records[position];
        if (!IsSampled(record.type) || !record.lasts.HasValues()) return;
        Name& name = m_names[TextOf(record.name)];
        if (!sum.AddDistributionTo(name.ofGroup, position)) name.isComplete = false;
    }

    void EndGroup() {
        for (auto& [name, each] : m_names) {
            if (each.ofGroup.GetCount() == 0) continue;
            each.ofGroup.Encode(each.samples.emplace_back());
            each.ofGroup.Clear();
        }
    }

    std::map<std::string, Name> m_names;
    std::optional<long long> m_group;
};

}  // namespace

std::map<std::string, DistributionSamples> ReadDistributionSamples(
    RunReader& run, const kzjournal::TimeRange& range) {
    const std::size_t names = run.Names().size();
    if (names > kMostNames) return {};
    const Groups groups(run.Facts().sliceLength, SlicesPerSample(run.CountSlices(range), names));
    const auto groupOf = [&](double elapsed) { return groups.Of(elapsed); };
    SampleMaker maker;
    run.ForEachSum(range, groupOf,
                   [&](const kzjournal::Slice& sum) { maker.Add(groupOf(sum.elapsed), sum); });
    return maker.Take();
}

long long SlicesPerSample(long long slices, std::size_t names) {
    const auto known = static_cast<long long>(std::max<std::size_t>(names, 1));
    const long long most = std::clamp(kMostSamplesOfAllNames / known, kLeastSamples, kMostSamples);
    const long long perSample = std::max(slices / most, 1LL);
    if (slices < kLeastSamples * kSlicesOfStoredSum) return perSample;
    return std::max(perSample / kSlicesOfStoredSum, 1LL) * kSlicesOfStoredSum;
}

}  // namespace kzstatprogram
