#include "figures/saturation.h"

#include <cmath>
#include <limits>

#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr double kSaturatedShare = 0.8;
constexpr double kSaturatedThread = 0.95;
constexpr double kSaturatedWait = 0.2;
constexpr double kSaturatedLateness = 0.05;  // seconds
constexpr int kSaturatedSlicesInARow = 3;

constexpr double kLeastMeasuredShare = 0.5;

bool IsMeasured(const CKZStatSliceCost& cost, double sliceLength) {
    return cost.measured >= kLeastMeasuredShare * sliceLength;
}

std::string Percent(double share) {
    return ReadableNumber(std::round(share * 100)) + " %";
}

std::string Seconds(double seconds) {
    return ReadableNumber(seconds) + " s";
}

}  // namespace

// Comparisons with NaN are false: what is unknown saturates nothing.

std::optional<double> ProcessorShare(const CKZStatSliceCost& cost, double sliceLength) {
    const double share = cost.processorTime / (cost.measured * cost.processors);
    return IsMeasured(cost, sliceLength) && std::isfinite(share) ? std::optional(share)
                                                                 : std::nullopt;
}

std::string WhySaturated(const CKZStatSliceCost& cost, double sliceLength) {
    const std::optional<double> share = ProcessorShare(cost, sliceLength);
    if (share && *share >= kSaturatedShare)
        return "it used " + Percent(*share) + " of the processors that it may use";
    if (!IsMeasured(cost, sliceLength)) return {};
    if (const double ofThread = cost.busiestThread / cost.measured; ofThread >= kSaturatedThread)
        return "one of its threads used " + Percent(ofThread) + " of a processor";
    if (const double waited = cost.longestWait / cost.measured; waited >= kSaturatedWait)
        return "one of its threads waited for a processor for " + Percent(waited) + " of the time";
    if (cost.startLateness >= kSaturatedLateness)
        return "what it had scheduled began " + Seconds(cost.startLateness) + " late";
    if (cost.timerLateness >= kSaturatedLateness)
        return "its timer woke " + Seconds(cost.timerLateness) + " late";
    if (const double delivery = cost.packTime + cost.listenerTime; delivery > sliceLength)
        return "packing and storing a slice took " + Seconds(delivery);
    return {};
}

void SaturationFinder::Add(const std::string& name, const kzjournal::SliceCost& slice) {
    m_lastElapsed = slice.elapsed;
    if (!IsMeasured(slice.cost, m_sliceLength)) return;
    Generator& generator = m_generators[name];
    const std::string reason = WhySaturated(slice.cost, m_sliceLength);
    if (generator.found) {
        if (!reason.empty()) ++generator.found->slices;
        ++generator.found->measured;
        return;
    }
    if (generator.inARow == 0) generator.row = {slice.elapsed - m_sliceLength, 0, 0, reason, name};
    generator.inARow = reason.empty() ? 0 : generator.inARow + 1;
    if (generator.inARow < kSaturatedSlicesInARow) return;
    generator.found = generator.row;
    generator.found->slices = generator.found->measured = generator.inARow;
}

void SaturationFinder::Update(RunReader& run) {
    const double formerElapsed = m_lastElapsed;
    run.ForEachCost({formerElapsed, std::numeric_limits<double>::infinity()},
                    [&](const kzjournal::SliceCost& slice) {
                        if (slice.elapsed > formerElapsed) Add("", slice);
                    });
}

std::optional<Saturation> SaturationFinder::Get() const {
    std::optional<Saturation> first;
    for (const auto& [name, generator] : m_generators)
        if (generator.found && (!first || generator.found->from < first->from))
            first = generator.found;
    return first;
}

void ForEachCostOf(RunReader& run, const RunOpener& runs, const std::string& name,
                   const kzjournal::TimeRange& range,
                   const std::function<void(const std::string& generator,
                                            const kzjournal::SliceCost& slice)>& visit) {
    run.ForEachCost(range, [&](const kzjournal::SliceCost& slice) { visit("", slice); });
    for (const kzjournal::Source& source : run.Sources()) {
        if (source.isMerged) continue;
        const double offset = source.run.startTime - run.Facts().startTime;
        const std::string generator = source.run.generator + " on " + source.run.host;
        runs.Open(name, source.number)
            ->ForEachCost({range.from - offset, range.to - offset},
                          [&](kzjournal::SliceCost slice) {
                              slice.elapsed += offset;
                              visit(generator, slice);
                          });
    }
}

std::optional<Saturation> FindSaturation(const RunOpener& runs, const std::string& name,
                                         const kzjournal::TimeRange& range) {
    const std::unique_ptr<RunReader> run = runs.Open(name);
    SaturationFinder finder(run->Facts().sliceLength);
    ForEachCostOf(*run, runs, name, range,
                  [&](const std::string& generator, const kzjournal::SliceCost& slice) {
                      finder.Add(generator, slice);
                  });
    return finder.Get();
}

std::string SaturationText(const Saturation& saturation) {
    const std::string generator = saturation.generator.empty()
                                      ? "the generator"
                                      : kzterminal::Printable(saturation.generator);
    return generator + " was saturated from " + TimeOfRun(saturation.from) + " on, in " +
           std::to_string(saturation.slices) + " of " + std::to_string(saturation.measured) +
           " slices: " + saturation.reason;
}

std::string DescribeSaturation(const Saturation& saturation) {
    return "warning: " + SaturationText(saturation);
}

}  // namespace kzstatprogram
