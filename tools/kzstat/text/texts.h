#ifndef KZSTAT_TEXTS_H
#define KZSTAT_TEXTS_H

#include <string>
#include <vector>

#include "kzstatpointtypeenum.h"
#include "rw/cstring.h"

namespace kzstat {

std::string TextOf(const RWCString& text);

/// "Timer"; the number where the type is none that is known.
std::string TypeText(CKZStatPointTypeEnum::PointType type);

/// With a '?' for each control character, so that a name neither breaks a line nor steers a
/// terminal.
std::string Printable(const std::string& text);

/// The characters that `text` takes on a terminal, as far as UTF-8 and single-width characters go.
std::size_t WidthOf(const std::string& text);

/// At most `width` characters; a '>' at the end shows that something was cut.
std::string Cut(const std::string& text, std::size_t width);

/// "2026-11-21 20:15:00 UTC".
std::string WallClock(double secondsSince1970);

/// One character per value, as high as the value between the least and the greatest; a blank for
/// a NaN. In letters of ASCII where the locale has no others.
std::string Sparkline(const std::vector<double>& values);

}  // namespace kzstat

#endif
