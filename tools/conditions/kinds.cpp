#include "conditions/kinds.h"

#include "kzstatpointkind.h"

namespace kzconditions {
namespace {

bool Reads(CKZStatPointTypeEnum::PointType type, CKZStatPointKind::Reading reading) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(type);
    return kind != nullptr && kind->reading == reading;
}

}  // namespace

bool IsSampled(CKZStatPointTypeEnum::PointType type) {
    return Reads(type, CKZStatPointKind::Sampled);
}

bool IsAddedUp(CKZStatPointTypeEnum::PointType type) {
    return Reads(type, CKZStatPointKind::AddedUp);
}

bool IsLevel(CKZStatPointTypeEnum::PointType type) {
    return Reads(type, CKZStatPointKind::Level);
}

}  // namespace kzconditions
