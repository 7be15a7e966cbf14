#ifndef KZSTATPROGRAM_SPARKLINE_H
#define KZSTATPROGRAM_SPARKLINE_H

#include <string>
#include <vector>

namespace kzstatprogram {

/// One character per value, as high as the value between 0 and the greatest, or the least if that
/// is below 0; a blank for a NaN. In letters of ASCII where the locale has no others.
std::string Sparkline(const std::vector<double>& values);

}  // namespace kzstatprogram

#endif
