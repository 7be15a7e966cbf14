#include "commands/percentileoption.h"

namespace kzstatprogram {

void PercentileOption::Declare(Command& command, const char* description) {
    command.Add("--percentiles", numbers, description).ValueName("LIST");
}

std::vector<Percentile> PercentileOption::Chosen(const std::vector<Percentile>& usual) const {
    if (!numbers) return usual;
    try {
        return PercentilesOf(*numbers);
    } catch (const kzjournal::Error& error) {
        throw UsageError("--percentiles", error.what());
    }
}

}  // namespace kzstatprogram
