#include "kzstatpointtypeenum.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "kzstatlog.h"
#include "kzstatpointkind.h"
#include "rw/cstring.h"

const char* const MeasurementTypeNames[12] = {"1",  "2",   "4",   "8",   "16",   "32",
                                              "64", "128", "256", "512", "1024", "2048"};

namespace {

/// The bit nearest to `value` on the logarithmic scale, that is log2(value) rounded: the next one
/// from 2 to the power of `lower` + 1/2 on, whose square is a whole number. REQUIRES: not 0.
std::size_t NearestBit(unsigned value) {
    const auto lower = static_cast<unsigned>(std::bit_width(value)) - 1;
    const std::uint64_t square = std::uint64_t{value} * value;
    return square < std::uint64_t{1} << (2 * lower + 1) ? lower : lower + 1;
}

const char* Entry(const char* const (&table)[12], CKZStatPointTypeEnum::PointType type,
                  const char* notSet) {
    if (type == CKZStatPointTypeEnum::NotSet) return notSet;
    const std::size_t index = NearestBit(static_cast<unsigned>(type));
    return index < std::size(table) ? table[index] : notSet;
}

/// A second readable form of `Counter`, without a way back.
constexpr char kSecondFormOfCounter[] = "Stat";

}  // namespace

CKZStatPointTypeEnum::~CKZStatPointTypeEnum() = default;

const char* CKZStatPointTypeEnum::GetTypeName(PointType type) {
    return Entry(MeasurementTypeNames, type, "0");
}

const char* CKZStatPointTypeEnum::GetStringFromEnumType(PointType type) {
    return Entry(MeasurementTypeStringNames, type, "NotSet");
}

void CKZStatPointTypeEnum::GetEnumTypeFromString(const RWCString& text, PointType& type) noexcept {
    for (const CKZStatPointKind& kind : CKZStatPointKind::All()) {
        if (text == kind.name) {
            type = kind.type;
            return;
        }
    }
    if (text == kSecondFormOfCounter) {
        type = Counter;
        return;
    }
    KZ_LOG_ERROR();
}
