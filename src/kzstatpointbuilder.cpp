#include "kzstatpointbuilder.h"

#include "kzstatlog.h"

CKZStatPoint* CKZStatPointBuilder::BuildPoint(PointType type, MeasurementArrayItem item) {
    using Types = CKZStatPointTypeEnum;
    switch (type) {
        case Types::Measurement:
            return new CKZStatPointMeasurement(item);
        case Types::Timer:
            return new CKZStatPointTimer(item);
        case Types::Counter:
            return new CKZStatPointCounter(item);
        case Types::Accumulator:
            return new CKZStatPointAccumulator(item);
        case Types::LoadSize:
            return new CKZStatPointLoadSize(item);
        case Types::TransactionCounter:
            return new CKZStatPointTransactionCounter(item);
        case Types::TransactionTimer:
            return new CKZStatPointTransactionTimer(item);
        case Types::TransactionReasonCounter:
            return new CKZStatPointTransactionReasonCounter(item);
        case Types::MeasurementPerSec:
            return new CKZStatPointMeasurementPerSec(item);
        case Types::CounterPerSec:
            return new CKZStatPointCounterPerSec(item);
        case Types::NTPerformance:
            return new CKZStatPointPerfMon(item);
        case Types::AccumulatorPerSec:
            return new CKZStatPointAccumulatorPerSec(item);
        case Types::NotSet:
            break;
    }
    KZ_LOG_ERROR("BuildPoint - unknown type: ", type);
    return nullptr;
}

CKZStatPoint* CKZStatPointBuilder::BuildPoint(PointType type) {
    constexpr MeasurementArrayItem kEmptyRecord = {-1, -1, -1, -1, -1, -1, -1,
                                                   -1, -1, -1, -1, -1, -1};
    return BuildPoint(type, kEmptyRecord);
}
