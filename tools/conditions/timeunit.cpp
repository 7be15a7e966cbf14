#include "conditions/timeunit.h"

namespace kzconditions {
namespace {

struct TimeUnit {
    std::string_view name;
    double nanoseconds;
};
constexpr TimeUnit kTimeUnits[] = {{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};

}  // namespace

std::optional<double> NanosecondsIn(std::string_view unit) {
    for (const TimeUnit& each : kTimeUnits)
        if (each.name == unit) return each.nanoseconds;
    return std::nullopt;
}

}  // namespace kzconditions
