#include "conditions/nearnames.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <tuple>
#include <utility>

namespace kzconditions {
namespace {

constexpr std::size_t kMaxNames = 3;
constexpr std::size_t kMaxMistakes = 8;

/// Changes of single bytes that turn one text into the other: the Levenshtein distance.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

/// Mistakes, or nothing if `name` is not likely to be meant. A part of it may have been left out.
std::optional<std::size_t> MistakesIn(const std::string& meant, const std::string& name) {
    const auto [shorter, longer] = std::minmax({meant.size(), name.size()});
    const std::size_t most = std::min(meant.size() / 3 + 1, kMaxMistakes);
    if (longer - shorter <= most)
        if (const std::size_t mistakes = Distance(meant, name); mistakes <= most) return mistakes;
    if (!meant.empty() && name.find(meant) != std::string::npos) return most + longer - shorter;
    return std::nullopt;
}

/// A name that is likely to be meant, in the order in which it is told. What begins with the text
/// of the user has the work that he means. Compatible.
struct Near {
    bool beginsOtherwise;
    std::size_t mistakes;
    std::string name;

    bool operator<(const Near& other) const {
        return std::tie(beginsOtherwise, mistakes, name) <
               std::tie(other.beginsOtherwise, other.mistakes, other.name);
    }
};

}  // namespace

std::vector<std::string> NamesNear(const std::string& name, const std::vector<std::string>& names) {
    std::vector<Near> near;
    for (const std::string& each : names)
        if (const auto mistakes = MistakesIn(name, each))
            near.push_back({name.empty() || !each.starts_with(name), *mistakes, each});
    std::sort(near.begin(), near.end());
    std::vector<std::string> nearest;
    for (const Near& each : near)
        // Beside one that is much nearer, no other one is meant.
        if (each.mistakes <= 2 * near.front().mistakes && nearest.size() < kMaxNames)
            nearest.push_back(each.name);
    return nearest;
}

}  // namespace kzconditions
