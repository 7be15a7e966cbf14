#ifndef KZSTATPROGRAM_SPARKLINE_H
#define KZSTATPROGRAM_SPARKLINE_H

#include <string>
#include <vector>

namespace kzstatprogram {

/// One character per value, as high as the value between the least and the greatest; a blank for
/// a NaN. In letters of ASCII where the locale has no others.
std::string Sparkline(const std::vector<double>& values);

}  // namespace kzstatprogram

#endif
