#ifndef KZSTAT_LOAD_H
#define KZSTAT_LOAD_H

#include <map>

#include "kzjournalreader.h"

namespace kzstat {

/// The load by the end of each slice of the range that has one: the sum of all load sizes.
std::map<double, double> LoadThroughTime(kzjournal::Reader& journal,
                                         const kzjournal::TimeRange& range);

}  // namespace kzstat

#endif
