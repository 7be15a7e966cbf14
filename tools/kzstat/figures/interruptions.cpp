#include "figures/interruptions.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "figures/saturation.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

/// Ends are told to the millisecond.
constexpr double kMissingSlices = 0.5;
/// A busy machine wakes a process late by less.
constexpr double kLeastStandstill = 1;  // seconds

bool IsEarlier(const Interruption& a, const Interruption& b) {
    return a.from < b.from;
}

}  // namespace

void InterruptionFinder::AddEnd(double elapsed) {
    const double begin = elapsed - m_sliceLength;
    if (begin - m_lastEnd > kMissingSlices * m_sliceLength)
        m_found.push_back({Interruption::Missing, m_lastEnd, begin});
    m_lastEnd = elapsed;
}

void InterruptionFinder::AddCost(const std::string& generator, const kzjournal::SliceCost& slice) {
    m_lastCost = slice.elapsed;
    const double behind = slice.cost.measured - m_sliceLength;
    const bool wasAtWork = slice.cost.busiestThread > m_sliceLength;
    if (behind >= kLeastStandstill && !wasAtWork)
        m_found.push_back(
            {Interruption::Standstill, slice.elapsed, slice.elapsed + behind, generator});
}

void InterruptionFinder::Update(RunReader& run) {
    constexpr double forever = std::numeric_limits<double>::infinity();
    const double lastEnd = m_lastEnd;
    for (const double end : run.SliceEnds({lastEnd, forever}))
        if (end > lastEnd) AddEnd(end);
    const double lastCost = m_lastCost;
    run.ForEachCost({lastCost, forever}, [&](const kzjournal::SliceCost& slice) {
        if (slice.elapsed > lastCost) AddCost("", slice);
    });
}

std::vector<Interruption> InterruptionFinder::Get() const {
    std::vector<Interruption> found = m_found;
    std::stable_sort(found.begin(), found.end(), IsEarlier);
    return found;
}

std::vector<Interruption> FindInterruptions(RunReader& run, const RunOpener& runs,
                                            const std::string& name,
                                            const kzjournal::TimeRange& range) {
    InterruptionFinder finder(run.Facts().sliceLength, std::max(range.from, 0.0));
    for (const double end : run.SliceEnds(range)) finder.AddEnd(end);
    ForEachCostOf(run, runs, name, range,
                  [&](const std::string& generator, const kzjournal::SliceCost& slice) {
                      finder.AddCost(generator, slice);
                  });
    return finder.Get();
}

std::vector<Interruption> LongestOf(std::vector<Interruption> interruptions, std::size_t most) {
    if (interruptions.size() <= most) return interruptions;
    std::stable_sort(
        interruptions.begin(), interruptions.end(),
        [](const Interruption& a, const Interruption& b) { return a.to - a.from > b.to - b.from; });
    interruptions.erase(interruptions.begin() + static_cast<std::ptrdiff_t>(most),
                        interruptions.end());
    std::stable_sort(interruptions.begin(), interruptions.end(), IsEarlier);
    return interruptions;
}

std::string InterruptionText(const Interruption& interruption) {
    const std::string when =
        " from " + TimeOfRun(interruption.from) + " to " + TimeOfRun(interruption.to);
    if (interruption.kind == Interruption::Missing) return "no slices" + when;
    const std::string& generator = interruption.generator;
    return (generator.empty() ? "the generator" : kzterminal::Printable(generator)) +
           " stood still" + when;
}

}  // namespace kzstatprogram
