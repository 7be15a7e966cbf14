#include "commands/comparisonoptions.h"

namespace kzstatprogram {
namespace {

constexpr double kUsualLeastPercent = 3;

}  // namespace

void ComparisonOptions::Declare(Command& command) {
    command.Add("--least", leastPercent, "Mark no difference below this many percent; by default 3")
        .NotNegative()
        .ValueName("PERCENT");
    percentiles.Declare(command,
                        "The percentiles to compare, such as 50,99.9; by default 50,95,99");
}

double ComparisonOptions::Least() const {
    return leastPercent.value_or(kUsualLeastPercent) / 100;
}

std::vector<Percentile> ComparisonOptions::Percentiles() const {
    return percentiles.Chosen(UsualPercentiles());
}

}  // namespace kzstatprogram
