#ifndef KZSTATPROGRAM_TEXTS_H
#define KZSTATPROGRAM_TEXTS_H

#include <string>

#include "kzstatpointtypeenum.h"
#include "reading/runreader.h"
#include "rw/cstring.h"
#include "terminal/numbers.h"

namespace kzstatprogram {

std::string TextOf(const RWCString& text);

/// "Timer"; the number where the type is none that is known.
std::string TypeText(CKZStatPointTypeEnum::PointType type);

/// "2026-11-21 20:15:00 UTC".
std::string WallClock(double secondsSince1970);

using kzterminal::TimeOfRun;

/// "1 slice", "2 slices".
std::string SlicesText(long long slices);

/// How much of a run is stored: "1 slice", "8 of 10 slices" or "not ended, at least 8 slices".
/// Throws kzjournal::Error.
std::string CompletenessText(RunReader& run);

}  // namespace kzstatprogram

#endif
