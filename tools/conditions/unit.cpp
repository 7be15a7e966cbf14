#include "conditions/unit.h"

#include <algorithm>
#include <iterator>

namespace kzconditions {
namespace {

enum class Quantity { Time, Bytes };

/// In the smallest one of its quantity, so that one is a whole multiple of another.
struct Unit {
    std::string_view name;
    Quantity quantity;
    double size;
};
constexpr Unit kUnits[] = {
    {"ns", Quantity::Time, 1},    {"us", Quantity::Time, 1e3},   {"ms", Quantity::Time, 1e6},
    {"s", Quantity::Time, 1e9},   {"bytes", Quantity::Bytes, 1}, {"B", Quantity::Bytes, 1},
    {"kB", Quantity::Bytes, 1e3}, {"MB", Quantity::Bytes, 1e6},  {"GB", Quantity::Bytes, 1e9}};

/// Null if there is none.
const Unit* Find(std::string_view name) {
    const auto* const found = std::find_if(std::begin(kUnits), std::end(kUnits),
                                           [&](const Unit& unit) { return unit.name == name; });
    return found != std::end(kUnits) ? found : nullptr;
}

}  // namespace

bool IsUnit(std::string_view text) {
    return Find(text) != nullptr;
}

bool IsUnitOfTime(std::string_view text) {
    const Unit* const unit = Find(text);
    return unit != nullptr && unit->quantity == Quantity::Time;
}

std::optional<double> Convert(double number, std::string_view from, std::string_view to) {
    const Unit* const given = Find(from);
    const Unit* const wanted = Find(to);
    if (given == nullptr || wanted == nullptr || given->quantity != wanted->quantity)
        return std::nullopt;
    return number * given->size / wanted->size;
}

}  // namespace kzconditions
