#include "text/texts.h"

#include <langinfo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>

#include "kzstatpointkind.h"
#include "ryp/truncate.h"

namespace kzstat {
namespace {

constexpr const char* kBlocks[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr const char* kLetters[] = {"_", ".", "-", "=", "+", "*", "%", "#"};
constexpr double kLevels = 8;

bool GoesOn(char byte) {
    return (byte & 0xc0) == 0x80;
}

bool IsControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

/// The first of the two bytes that make U+0080 to U+009F, which are control characters, too.
bool BeginsUpperControl(const std::string& text, std::size_t at) {
    return text[at] == '\xc2' && at + 1 < text.size() &&
           static_cast<unsigned char>(text[at + 1]) >= 0x80 &&
           static_cast<unsigned char>(text[at + 1]) < 0xa0;
}

std::size_t LevelOf(double value, double least, double greatest) {
    if (greatest <= least) return 0;
    return RyPTruncate<std::size_t>(
        std::min((value - least) / (greatest - least) * kLevels, kLevels - 1));
}

}  // namespace

std::string TextOf(const RWCString& text) {
    return std::string(text.view());
}

std::string TypeText(CKZStatPointTypeEnum::PointType type) {
    const bool isKnown = type == CKZStatPointTypeEnum::NotSet || CKZStatPointKind::Find(type);
    return isKnown ? CKZStatPointTypeEnum::GetStringFromEnumType(type) : std::to_string(type);
}

std::string Printable(const std::string& text) {
    std::string printable;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isUpperControl = BeginsUpperControl(text, at);
        const bool isControl = isUpperControl || IsControl(static_cast<unsigned char>(text[at]));
        printable += isControl ? '?' : text[at];
        if (isUpperControl) ++at;
    }
    return printable;
}

std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !GoesOn(byte); }));
}

std::string Cut(const std::string& text, std::size_t width) {
    if (WidthOf(text) <= width) return text;
    std::size_t end = 0;
    for (std::size_t characters = 0; characters < width && end < text.size(); ++characters)
        while (GoesOn(text[++end])) {
        }
    // One character less, for the mark.
    while (end > 0 && GoesOn(text[--end])) {
    }
    return text.substr(0, end) + ">";
}

std::string WallClock(double secondsSince1970) {
    const auto seconds = RyPTruncate<std::time_t>(secondsSince1970);
    std::tm utc{};
    char text[64] = {};
    if (gmtime_r(&seconds, &utc) != nullptr)
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc);
    return text;
}

std::string Sparkline(const std::vector<double>& values) {
    double least = std::numeric_limits<double>::infinity();
    double greatest = -least;
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

}  // namespace kzstat
