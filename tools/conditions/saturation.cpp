#include "conditions/saturation.h"

#include <cmath>

#include "terminal/numbers.h"
#include "terminal/terminaltext.h"

namespace kzconditions {
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
    return kzterminal::ReadableNumber(std::round(share * 100)) + " %";
}

std::string Seconds(double seconds) {
    return kzterminal::ReadableNumber(seconds) + " s";
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

std::optional<Saturation> SaturationFinder::Get() const {
    std::optional<Saturation> first;
    for (const auto& [name, generator] : m_generators)
        if (generator.found && (!first || generator.found->from < first->from))
            first = generator.found;
    return first;
}

std::string SaturationText(const Saturation& saturation) {
    const std::string generator = saturation.generator.empty()
                                      ? "the generator"
                                      : kzterminal::Printable(saturation.generator);
    return generator + " was saturated from " + kzterminal::TimeOfRun(saturation.from) +
           " on, in " + std::to_string(saturation.slices) + " of " +
           std::to_string(saturation.measured) + " slices: " + saturation.reason;
}

std::string DescribeSaturation(const Saturation& saturation) {
    return "warning: " + SaturationText(saturation);
}

}  // namespace kzconditions
