#include "conditions/percentile.h"

#include <algorithm>
#include <charconv>

#include "kzjournalerror.h"
#include "terminal/numbers.h"

namespace kzconditions {
namespace {

/// As many as a table could still show.
constexpr std::size_t kMaxPercentiles = 20;

std::optional<double> ReadNumber(std::string_view text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return number;
}

/// Not so NaN.
bool IsPercentile(double percent) {
    return percent > 0 && percent < 100;
}

Percentile WithTitle(double percent) {
    return {std::string("p").append(kzterminal::ExactNumber(percent)), percent / 100};
}

}  // namespace

const std::vector<Percentile>& UsualPercentiles() {
    static const std::vector<Percentile> usual = PercentilesOf("50,95,99");
    return usual;
}

Percentile PercentileOf(std::string_view number) {
    const std::string text(number);
    const std::optional<double> percent = ReadNumber(number);
    if (!percent) throw kzjournal::Error("'" + text + "' is no number such as 99.9");
    if (!IsPercentile(*percent))
        throw kzjournal::Error(text +
                               " is not above 0 and below 100; min and max are the extremes");
    return WithTitle(*percent);
}

std::optional<Percentile> FindPercentile(std::string_view title) {
    if (!title.starts_with('p')) return std::nullopt;
    const std::optional<double> percent = ReadNumber(title.substr(1));
    if (!percent || !IsPercentile(*percent)) return std::nullopt;
    return WithTitle(*percent);
}

std::vector<Percentile> PercentilesOf(std::string_view numbers) {
    std::vector<Percentile> percentiles;
    for (std::size_t begin = 0; begin <= numbers.size();) {
        const std::size_t end = std::min(numbers.find(',', begin), numbers.size());
        percentiles.push_back(PercentileOf(numbers.substr(begin, end - begin)));
        begin = end + 1;
        const Percentile& last = percentiles.back();
        if (std::any_of(percentiles.begin(), percentiles.end() - 1,
                        [&](const Percentile& each) { return each.title == last.title; }))
            throw kzjournal::Error(last.title.substr(1) + " is there twice");
        if (percentiles.size() > kMaxPercentiles)
            throw kzjournal::Error("at most " + std::to_string(kMaxPercentiles) + " are shown");
    }
    return percentiles;
}

}  // namespace kzconditions
