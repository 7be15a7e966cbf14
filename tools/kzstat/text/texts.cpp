#include "text/texts.h"

#include <ctime>

#include "kzstatpointkind.h"
#include "ryp/truncate.h"

namespace kzstatprogram {

std::string TextOf(const RWCString& text) {
    return std::string(text.view());
}

std::string TypeText(CKZStatPointTypeEnum::PointType type) {
    const bool isKnown = type == CKZStatPointTypeEnum::NotSet || CKZStatPointKind::Find(type);
    return isKnown ? CKZStatPointTypeEnum::GetStringFromEnumType(type) : std::to_string(type);
}

std::string WallClock(double secondsSince1970) {
    const auto seconds = RyPTruncate<std::time_t>(secondsSince1970);
    std::tm utc{};
    char text[64] = {};
    if (gmtime_r(&seconds, &utc) != nullptr)
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc);
    return text;
}

}  // namespace kzstatprogram
