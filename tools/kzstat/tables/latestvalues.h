#ifndef KZSTATPROGRAM_LATESTVALUES_H
#define KZSTATPROGRAM_LATESTVALUES_H

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "reading/runreader.h"

namespace kzstatprogram {

/// The latest values of every name of a run that goes on. Compatible.
class LatestValues {
public:
    /// Takes what has come since the last call.
    void Update(RunReader& run);

    /// The kind's current value in the latest slices, at most `most` of them.
    std::vector<double> Of(const std::string& name, std::size_t most) const;

private:
    void Take(const kzjournal::Slice& slice);

    int m_lastSliceId = 0;
    std::map<std::string, std::deque<double>> m_values;
};

}  // namespace kzstatprogram

#endif
