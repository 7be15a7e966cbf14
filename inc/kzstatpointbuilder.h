#ifndef KZSTATPOINTBUILDER_H
#define KZSTATPOINTBUILDER_H

#include "kzstat_export.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"

/// Makes points by their type. Has no state; safe for concurrent use.
class KZSTAT_EXPORT CKZStatPointBuilder {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// Returns a new point of the class for `type` with the values of `item`; the caller deletes
    /// it. Returns null and logs an error if `type` is not one of the twelve types.
    static CKZStatPoint* BuildPoint(PointType type, MeasurementArrayItem item);
    /// The same with an empty record: all thirteen values -1.
    static CKZStatPoint* BuildPoint(PointType type);
};

#endif
