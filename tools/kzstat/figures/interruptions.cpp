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
constexpr double kTolerance = 0.001;  // seconds
constexpr double kMissingSlices = 0.5;
/// A busy machine wakes a process late by less.
constexpr double kLeastStandstill = 1;  // seconds
/// Between the timer's waking and the measurement after it.
constexpr double kMostUntilMeasured = 0.1;  // seconds

constexpr std::size_t kMostDescribed = 5;

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

/// Without the slice before, that one counts as seen in time.
double InterruptionFinder::LatenessOf(const std::string& generator,
                                      const kzjournal::SliceCost& slice) {
    Reading& former = m_readings[generator];
    const bool follows =
        std::abs(slice.elapsed - m_sliceLength - former.elapsed) < kMissingSlices * m_sliceLength;
    const double behind = slice.cost.measured - m_sliceLength;
    former = {slice.elapsed, std::fmax(behind + (follows ? former.lateness : 0), 0)};
    return former.lateness;
}

// Comparisons with NaN are false: what is unknown was no work, and no late timer.

void InterruptionFinder::AddCost(const std::string& generator, const kzjournal::SliceCost& slice) {
    m_lastCost = slice.elapsed;
    const CKZStatSliceCost& cost = slice.cost;
    const double lateness = LatenessOf(generator, slice);
    const double behind = cost.measured - m_sliceLength;
    const double late = cost.timerLateness;
    const bool sawEndLate = behind >= kLeastStandstill && !(cost.busiestThread > m_sliceLength);
    const bool wokeLate = late >= kLeastStandstill && cost.busiestThread <= cost.measured - late;
    if (sawEndLate)
        m_found.push_back(
            {Interruption::Standstill, slice.elapsed, slice.elapsed + behind, generator});
    if (!wokeLate) return;
    // The timer of the end is as late as the end was seen.
    const bool wasInTheMiddle = late > lateness + kMostUntilMeasured;
    const double due = slice.elapsed - (wasInTheMiddle ? m_sliceLength / 2 : 0);
    if (sawEndLate && due + late >= m_found.back().from) {
        m_found.back().from = due;
        m_found.back().to = std::max(m_found.back().to, due + late);
    } else {
        m_found.push_back({Interruption::Standstill, due, due + late, generator});
    }
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

std::vector<Interruption> Within(std::vector<Interruption> interruptions,
                                 const kzjournal::TimeRange& range) {
    std::erase_if(interruptions, [&](const Interruption& each) {
        return each.to <= range.from + kTolerance || each.from >= range.to - kTolerance;
    });
    return interruptions;
}

std::vector<Interruption> FindInterruptions(RunReader& run, const RunOpener& runs,
                                            const std::string& name,
                                            const kzjournal::TimeRange& range) {
    InterruptionFinder finder(run.Facts().sliceLength);
    for (const double end : run.SliceEnds()) finder.AddEnd(end);
    ForEachCostOf(run, runs, name, {},
                  [&](const std::string& generator, const kzjournal::SliceCost& slice) {
                      finder.AddCost(generator, slice);
                  });
    return Within(finder.Get(), range);
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

std::vector<std::string> DescribeInterruptions(RunReader& run,
                                               const std::vector<Interruption>& interruptions) {
    const bool isMerged = !run.Sources().empty();
    std::vector<Interruption> told;
    for (const Interruption& each : interruptions)
        if (!isMerged || each.kind != Interruption::Missing) told.push_back(each);
    std::vector<std::string> lines;
    for (const Interruption& each : LongestOf(told, kMostDescribed))
        lines.push_back(InterruptionText(each));
    if (told.size() > lines.size())
        lines.push_back("... and " + std::to_string(told.size() - lines.size()) +
                        " shorter times without figures");
    return lines;
}

std::vector<std::string> DescribeInterruptions(RunReader& run, const RunOpener& runs,
                                               const std::string& name,
                                               const kzjournal::TimeRange& range) {
    return DescribeInterruptions(run, FindInterruptions(run, runs, name, range));
}

}  // namespace kzstatprogram
