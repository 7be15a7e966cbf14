#include "kzstatpointtypeenum.h"

#include <cmath>
#include <cstddef>
#include <iterator>

#include "kzstatlog.h"
#include "rw/cstring.h"
#include "ryp/truncate.h"

const char* const MeasurementTypeNames[12] = {"1",  "2",   "4",   "8",   "16",   "32",
                                              "64", "128", "256", "512", "1024", "2048"};

const char* const MeasurementTypeStringNames[12] = {"Measurement",       "Timer",
                                                    "Counter",           "Accumulator",
                                                    "LoadSize",          "TransactionCounter",
                                                    "TransactionTimer",  "TransactionReasonCounter",
                                                    "MeasurementPerSec", "CounterPerSec",
                                                    "NTPerformance",     "AccumulatorPerSec"};

namespace {

/// The entry of `table` for the bit nearest to `type` on the logarithmic scale, or `notSet`.
const char* Entry(const char* const (&table)[12], CKZStatPointTypeEnum::PointType type,
                  const char* notSet) {
    if (type == CKZStatPointTypeEnum::NotSet) return notSet;
    constexpr double kLn2 = 0.6931471805599453;
    const double bit = std::floor(std::log(static_cast<unsigned>(type)) / kLn2 + 0.5);
    const auto index = RyPTruncate<std::size_t>(bit);
    return index < std::size(table) ? table[index] : notSet;
}

struct AcceptedForm {
    const char* text;
    CKZStatPointTypeEnum::PointType type;
};

constexpr AcceptedForm kAcceptedForms[] = {
    {"Timer", CKZStatPointTypeEnum::Timer},
    {"Counter", CKZStatPointTypeEnum::Counter},
    {"Stat", CKZStatPointTypeEnum::Counter},
    {"LoadSize", CKZStatPointTypeEnum::LoadSize},
    {"Measurement", CKZStatPointTypeEnum::Measurement},
    {"NTPerformance", CKZStatPointTypeEnum::NTPerformance},
    {"CounterPerSec", CKZStatPointTypeEnum::CounterPerSec},
    {"MeasurementPerSec", CKZStatPointTypeEnum::MeasurementPerSec},
    {"TransactionCounter", CKZStatPointTypeEnum::TransactionCounter},
    {"TransactionTimer", CKZStatPointTypeEnum::TransactionTimer},
    {"TransactionReasonCounter", CKZStatPointTypeEnum::TransactionReasonCounter},
    {"Accumulator", CKZStatPointTypeEnum::Accumulator},
    {"AccumulatorPerSec", CKZStatPointTypeEnum::AccumulatorPerSec},
};

}  // namespace

CKZStatPointTypeEnum::~CKZStatPointTypeEnum() = default;

const char* CKZStatPointTypeEnum::GetTypeName(PointType type) {
    return Entry(MeasurementTypeNames, type, "0");
}

const char* CKZStatPointTypeEnum::GetStringFromEnumType(PointType type) {
    return Entry(MeasurementTypeStringNames, type, "NotSet");
}

void CKZStatPointTypeEnum::GetEnumTypeFromString(const RWCString& text, PointType& type) {
    for (const AcceptedForm& form : kAcceptedForms) {
        if (text == form.text) {
            type = form.type;
            return;
        }
    }
    KZ_LOG_ERROR();
}
