#ifndef KZSTATPOINTBUILDER_H
#define KZSTATPOINTBUILDER_H

#include "kzstat_export.h"
#include "kzstatpoint.h"
#include "kzstatpointtypeenum.h"

/// Makes points of the kind that belongs to a type, so that a consumer need not name the classes.
/// Has no state; safe for concurrent use.
class KZSTAT_EXPORT CKZStatPointBuilder {
public:
    using PointType = CKZStatPointTypeEnum::PointType;

    /// A new point of the kind of `type` with the values of `item`; owned by the caller, who
    /// deletes it. Null, with an error logged, for `NotSet` and whatever is not one of the twelve
    /// types.
    static CKZStatPoint* BuildPoint(PointType type, MeasurementArrayItem item);
    /// The same with an empty record: all thirteen values -1.
    static CKZStatPoint* BuildPoint(PointType type);
};

#endif
