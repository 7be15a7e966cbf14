#include "support/workload.h"

#include <cstddef>
#include <random>

namespace {

constexpr int kMinNameBytes = 12;
constexpr int kMaxNameBytes = 24;

}  // namespace

std::vector<std::string> MakeNames(int count) {
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        std::string name = "step" + std::to_string(i) + ".";
        const auto length =
            static_cast<std::size_t>(kMinNameBytes + i % (kMaxNameBytes - kMinNameBytes + 1));
        for (char letter = 'a'; name.size() < length; ++letter) name += letter;
        names.push_back(name);
    }
    return names;
}

std::vector<Report> MakeReports(const std::vector<std::string>& names, int first, int last,
                                int rounds) {
    std::mt19937 random(static_cast<unsigned>(first + 1));
    std::uniform_int_distribution<std::size_t> anyName(0, names.size() - 1);
    std::uniform_real_distribution<double> anyValue(0.0, 1000.0);
    std::vector<Report> reports;
    for (int round = 0; round < rounds; ++round)
        for (int client = first; client < last; ++client)
            for (int i = 0; i < kBurst; ++i)
                reports.push_back({client, names[anyName(random)].c_str(), anyValue(random)});
    return reports;
}

const std::vector<std::string>& UsualNames() {
    static const std::vector<std::string> names = MakeNames(kUsualNames);
    return names;
}
