#ifndef KZSTATPROGRAM_INTERRUPTIONS_H
#define KZSTATPROGRAM_INTERRUPTIONS_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "reading/runopener.h"

namespace kzstatprogram {

/// A time of which a run tells nothing. Its slices are missing; or they are there but hold nothing,
/// since the process that made the load did not run: it was stopped, or so was its machine.
struct Interruption {
    enum Kind { Missing, Standstill };
    Kind kind;
    double from;  ///< in seconds since the start of the run
    double to;
    std::string generator =
        {};  ///< that stood still: "load on host" of a source; empty for the run
};

/// Finds the interruptions of a run in the ends and the costs of its slices. Compatible.
class InterruptionFinder {
public:
    explicit InterruptionFinder(double sliceLength) : m_sliceLength(sliceLength) {}

    /// REQUIRES: ends come in ascending order, but for those behind a pause of the generator.
    void AddEnd(double elapsed);
    /// The process stood still where it saw the end of a slice a second too late, or its timer woke
    /// that late in the middle or at the end of one, without any thread at work in that time.
    /// REQUIRES: slices of one generator come in the order of time.
    void AddCost(const std::string& generator, const kzjournal::SliceCost& slice);
    /// Adds what has come since the last call; the run is the only generator. Throws
    /// `kzjournal::Error`.
    void Update(RunReader& run);

    /// In the order of time.
    std::vector<Interruption> Get() const;

private:
    /// How late the process saw the end of a slice.
    struct Reading {
        double elapsed = 0;  // of the slice
        double lateness = 0;
    };

    double LatenessOf(const std::string& generator, const kzjournal::SliceCost& slice);

    const double m_sliceLength;
    double m_lastEnd = 0;
    double m_lastCost = 0;
    std::map<std::string, Reading> m_readings;  // the latest one of each generator
    std::vector<Interruption> m_found;
};

/// Those that reach into the range, whole: what a range cuts off would be an end that never was.
std::vector<Interruption> Within(std::vector<Interruption> interruptions,
                                 const kzjournal::TimeRange& range);

/// Those of the run within the range, which `runs` knows by this name, and of its sources. Reads
/// the costs of all slices: the one that tells of an interruption may lie before it. Throws
/// `kzjournal::Error`.
std::vector<Interruption> FindInterruptions(RunReader& run, const RunOpener& runs,
                                            const std::string& name,
                                            const kzjournal::TimeRange& range = {});

/// The longest ones, in the order of time.
std::vector<Interruption> LongestOf(std::vector<Interruption> interruptions, std::size_t most);

/// The times of which the run tells nothing, a line each; the longest ones, and how many there are
/// besides. Missing slices of a merged run are noted in it, and left out.
std::vector<std::string> DescribeInterruptions(RunReader& run,
                                               const std::vector<Interruption>& interruptions);

/// The same of what `FindInterruptions` finds.
std::vector<std::string> DescribeInterruptions(RunReader& run, const RunOpener& runs,
                                               const std::string& name,
                                               const kzjournal::TimeRange& range);

/// "no slices from 0:12 to 0:42", or "the generator stood still from 0:12 to 0:42".
std::string InterruptionText(const Interruption& interruption);

}  // namespace kzstatprogram

#endif
