#include "kzstatpointkind.h"

#include <bit>
#include <limits>

namespace {

using Types = CKZStatPointTypeEnum;
using Kind = CKZStatPointKind;

constexpr int Bit(StatisticsDataType statistic) {
    return 1 << statistic;
}

// The masks that several kinds share.
constexpr int kSampled = Bit(StatMin) | Bit(StatMax) | Bit(StatAverage) | Bit(StatLastAverage);
constexpr int kTimed = kSampled | Bit(StatCount);
constexpr int kLevel = Bit(StatMin) | Bit(StatMax) | Bit(StatAverage) | Bit(StatLastSum);
constexpr int kCounted = kLevel | Bit(StatSum);

constexpr const char* kMilliseconds = "ms";
constexpr const char* kOfTheHost = "";

constexpr std::array<Kind, 12> kKinds = {{
    {Types::Measurement, "Measurement", kOfTheHost, false, Kind::Sampled, Kind::NoRate, kSampled},
    {Types::Timer, "Timer", kMilliseconds, true, Kind::Sampled, Kind::RateOfValues, kTimed},
    {Types::Counter, "Counter", kOfTheHost, false, Kind::AddedUp, Kind::RateOfSums, kCounted},
    {Types::Accumulator, "Accumulator", kOfTheHost, false, Kind::AddedUp, Kind::RateOfSums,
     kCounted},
    {Types::LoadSize, "LoadSize", kOfTheHost, false, Kind::Level, Kind::NoRate, kLevel},
    {Types::TransactionCounter, "TransactionCounter", kOfTheHost, false, Kind::AddedUp,
     Kind::RateOfSums, kCounted},
    {Types::TransactionTimer, "TransactionTimer", kMilliseconds, true, Kind::Sampled,
     Kind::RateOfValues, kTimed},
    {Types::TransactionReasonCounter, "TransactionReasonCounter", kOfTheHost, false, Kind::AddedUp,
     Kind::RateOfSums, kCounted},
    {Types::MeasurementPerSec, "MeasurementPerSec", kOfTheHost, false, Kind::Sampled,
     Kind::RateOfSums, kSampled},
    {Types::CounterPerSec, "CounterPerSec", kOfTheHost, false, Kind::AddedUp, Kind::RateOfSums,
     kLevel},
    {Types::NTPerformance, "NTPerformance", kOfTheHost, false, Kind::Sampled, Kind::NoRate,
     kSampled},
    {Types::AccumulatorPerSec, "AccumulatorPerSec", kOfTheHost, false, Kind::AddedUp,
     Kind::RateOfSums, kLevel},
}};

}  // namespace

double CKZStatPointKind::Flow(const CKZStatAggregate& aggregate) const {
    if (rate == RateOfValues) return aggregate.count;
    if (rate == RateOfSums || reading == Level) return aggregate.sum;
    return std::numeric_limits<double>::quiet_NaN();
}

const CKZStatPointKind* CKZStatPointKind::Find(Types::PointType type) {
    const auto bits = static_cast<unsigned>(type);
    if (!std::has_single_bit(bits)) return nullptr;
    const auto index = static_cast<std::size_t>(std::countr_zero(bits));
    return index < kKinds.size() ? &kKinds[index] : nullptr;
}

const std::array<CKZStatPointKind, 12>& CKZStatPointKind::All() {
    return kKinds;
}

// An array of its own, since hosts know it by this name.
constexpr const char* const MeasurementTypeStringNames[12] = {
    kKinds[0].name, kKinds[1].name, kKinds[2].name,  kKinds[3].name,
    kKinds[4].name, kKinds[5].name, kKinds[6].name,  kKinds[7].name,
    kKinds[8].name, kKinds[9].name, kKinds[10].name, kKinds[11].name};
