#ifndef KZCONDITIONS_KINDS_H
#define KZCONDITIONS_KINDS_H

#include "kzstatpointtypeenum.h"

namespace kzconditions {

// What the values of a point type are. A type without a kind is none of them. These functions are
// safe for concurrent use.

/// Samples, which spread; those of the others are added up.
bool IsSampled(CKZStatPointTypeEnum::PointType type);

/// A number of events or an amount.
bool IsAddedUp(CKZStatPointTypeEnum::PointType type);

/// The state of a moment.
bool IsLevel(CKZStatPointTypeEnum::PointType type);

}  // namespace kzconditions

#endif
