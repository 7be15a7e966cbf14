#ifndef KZSTATPROGRAM_DISTRIBUTIONSAMPLES_H
#define KZSTATPROGRAM_DISTRIBUTIONSAMPLES_H

#include <map>
#include <string>

#include "figures/percentiletest.h"
#include "kzjournalload.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// By name, those of successive slices in the range: of each slice, or of groups of slices in long
/// runs. A name of which a slice has values without their distribution has no samples, nor has
/// any name of a run of more than 10,000, which would take too much memory. Throws
/// kzjournal::Error.
std::map<std::string, DistributionSamples> ReadDistributionSamples(
    RunReader& run, const kzjournal::TimeRange& range);

/// So many slices make one sample. Long runs of few names have 300 samples or somewhat more: their
/// estimate uses no faster changes. Groups of whole stored sums are read fast.
long long SlicesPerSample(long long slices, std::size_t names);

}  // namespace kzstatprogram

#endif
