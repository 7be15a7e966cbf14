#ifndef KZSTATPROGRAM_LOAD_H
#define KZSTATPROGRAM_LOAD_H

#include <map>

#include "kzjournalreader.h"

namespace kzstatprogram {

/// The load by the end of each slice of the range that has one: the sum of all load sizes.
std::map<double, double> LoadThroughTime(kzjournal::Reader& journal,
                                         const kzjournal::TimeRange& range);

}  // namespace kzstatprogram

#endif
