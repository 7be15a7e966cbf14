#include "tables/sparkline.h"

#include <langinfo.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ryp/truncate.h"

namespace kzstatprogram {
namespace {

constexpr const char* kBlocks[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kLetters[] = {"_", ".", "-", "=", "+", "*", "%", "#"};
constexpr double kLevels = 8;

std::size_t LevelOf(double value, double least, double greatest) {
    if (greatest <= least) return 0;
    return RyPTruncate<std::size_t>(
        std::min((value - least) / (greatest - least) * kLevels, kLevels - 1));
}

}  // namespace

std::string Sparkline(const std::vector<double>& values) {
    double least = 0;
    double greatest = 0;
    for (const double value : values) {
        // Written so that a NaN changes neither.
        if (value < least) least = value;
        if (value > greatest) greatest = value;
    }
    const auto& characters = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? kBlocks : kLetters;
    std::string line;
    for (const double value : values)
        line += std::isnan(value) ? " " : characters[LevelOf(value, least, greatest)];
    return line;
}

}  // namespace kzstatprogram
