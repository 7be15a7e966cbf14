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

std::string SlicesText(long long slices) {
    return std::to_string(slices) + (slices == 1 ? " slice" : " slices");
}

std::string CompletenessText(RunReader& run) {
    const kzjournal::Completeness completeness = run.GetCompleteness();
    std::string text = SlicesText(completeness.expectedSlices);
    if (completeness.expectedSlices > completeness.slices)
        text.insert(0, std::to_string(completeness.slices) + " of ");
    if (completeness.state != kzjournal::Completeness::NotEnded) return text;
    // A merge is never written through a log.
    const bool lacksLog = completeness.lacksLog && run.Sources().empty();
    return "not ended, at least " + text + (lacksLog ? " (there is no -wal file)" : "");
}

}  // namespace kzstatprogram
