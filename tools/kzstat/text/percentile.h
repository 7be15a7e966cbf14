#ifndef KZSTATPROGRAM_PERCENTILE_H
#define KZSTATPROGRAM_PERCENTILE_H

#include "conditions/percentile.h"

namespace kzstatprogram {

using kzconditions::FindPercentile;
using kzconditions::Percentile;
using kzconditions::PercentileOf;
using kzconditions::PercentilesOf;
using kzconditions::UsualPercentiles;

}  // namespace kzstatprogram

#endif
