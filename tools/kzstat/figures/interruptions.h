#ifndef KZSTATPROGRAM_INTERRUPTIONS_H
#define KZSTATPROGRAM_INTERRUPTIONS_H

#include <cstddef>
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
    /// `begin` is where the first slice is expected to begin.
    explicit InterruptionFinder(double sliceLength, double begin = 0)
        : m_sliceLength(sliceLength), m_lastEnd(begin) {}

    /// REQUIRES: ends come in ascending order, but for those behind a pause of the generator.
    void AddEnd(double elapsed);
    /// A slice was measured for a second longer than it lasted, without any thread at work in that
    /// time: the process did not see the end of the slice.
    void AddCost(const std::string& generator, const kzjournal::SliceCost& slice);
    /// Adds what has come since the last call; the run is the only generator. Throws
    /// `kzjournal::Error`.
    void Update(RunReader& run);

    /// In the order of time.
    std::vector<Interruption> Get() const;

private:
    const double m_sliceLength;
    double m_lastEnd;
    double m_lastCost = 0;
    std::vector<Interruption> m_found;
};

/// Those of the run in the range, which `runs` knows by this name, and of its sources. Throws
/// `kzjournal::Error`.
std::vector<Interruption> FindInterruptions(RunReader& run, const RunOpener& runs,
                                            const std::string& name,
                                            const kzjournal::TimeRange& range = {});

/// The longest ones, in the order of time.
std::vector<Interruption> LongestOf(std::vector<Interruption> interruptions, std::size_t most);

/// "no slices from 0:12 to 0:42", or "the generator stood still from 0:12 to 0:42".
std::string InterruptionText(const Interruption& interruption);

}  // namespace kzstatprogram

#endif
