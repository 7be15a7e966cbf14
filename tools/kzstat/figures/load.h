#ifndef KZSTATPROGRAM_LOAD_H
#define KZSTATPROGRAM_LOAD_H

#include <map>

#include "reading/runreader.h"

namespace kzstatprogram {

// The load of a slice is the sum of all levels in it.

/// NaN where none was reported.
double LoadIn(const kzjournal::Slice& slice);

/// The load of each slice of the range that has one, by the end of the slice.
std::map<double, double> LoadThroughTime(RunReader& run, const kzjournal::TimeRange& range);

}  // namespace kzstatprogram

#endif
