#ifndef KZCONDITIONS_SATURATION_H
#define KZCONDITIONS_SATURATION_H

#include <map>
#include <optional>
#include <string>

#include "kzjournalsummary.h"

namespace kzconditions {

/// Whether the process that made the load was itself the bottleneck: its figures are then those of
/// the generator rather than of what was tested. A slice is saturated if in it
///
/// - the process used 80 % of the processors that it may use, behind which work queues up, or
/// - one of its threads used 95 % of a processor, or waited for one for a fifth of the time, or
/// - a timer of it, or something that the host had scheduled, began 50 ms late, or
/// - packing the slice and the listeners of the one before took longer than a slice.
///
/// Slices that were measured for less than half their length tell nothing. A run is saturated from
/// the first of three such slices in a row on: a single one may be a passing burst.
struct Saturation {
    double from = 0;       ///< the begin of the first slice, in seconds since the start of the run
    long long slices = 0;  ///< saturated ones from there on
    long long measured = 0;  ///< all from there on
    std::string reason;      ///< why the first one is, as a clause for the user
    std::string generator;   ///< "load on host" of a source; empty for the run itself
};

/// The share of the processors that the process used, from 0 to 1; no value if the slice tells
/// nothing of it.
std::optional<double> ProcessorShare(const CKZStatSliceCost& cost, double sliceLength);

/// Why a slice is saturated; empty if it is not.
std::string WhySaturated(const CKZStatSliceCost& cost, double sliceLength);

/// Finds out from the slices of one or several generators. Compatible.
class SaturationFinder {
public:
    explicit SaturationFinder(double sliceLength) : m_sliceLength(sliceLength) {}

    /// REQUIRES: slices of one generator come in the order of time.
    void Add(const std::string& name, const kzjournal::SliceCost& slice);
    /// The end of the slice that was added last; 0 before the first one.
    double LastElapsed() const { return m_lastElapsed; }

    /// The first one; no value if no generator was saturated so far.
    std::optional<Saturation> Get() const;

private:
    struct Generator {
        int inARow = 0;
        Saturation row;  // since the first of them
        std::optional<Saturation> found;
    };

    const double m_sliceLength;
    double m_lastElapsed = 0;
    std::map<std::string, Generator> m_generators;
};

/// "the generator was saturated from 0:34 on, in 27 of 30 slices: it used ...".
std::string SaturationText(const Saturation& saturation);
/// The same as a warning: "warning: the generator ...".
std::string DescribeSaturation(const Saturation& saturation);

}  // namespace kzconditions

#endif
