#ifndef KZ_BENCHMARKS_HANDWRITTEN_H
#define KZ_BENCHMARKS_HANDWRITTEN_H

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// What an engineer writes in an afternoon instead of embedding the library: the yardstick.

struct HandwrittenAggregate {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    double count = 0;
    double sum = 0;
    double sumSqr = 0;

    void Add(double value) {
        minimum = std::min(minimum, value);
        maximum = std::max(maximum, value);
        count += 1;
        sum += value;
        sumSqr += value * value;
    }
    void Add(const HandwrittenAggregate& other) {
        minimum = std::min(minimum, other.minimum);
        maximum = std::max(maximum, other.maximum);
        count += other.count;
        sum += other.sum;
        sumSqr += other.sumSqr;
    }
};

struct HandwrittenEntry {
    HandwrittenAggregate totals;
    HandwrittenAggregate lasts;
};

struct HandwrittenHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
        return std::hash<std::string_view>()(text);
    }
};

using HandwrittenMap =
    std::unordered_map<std::string, HandwrittenEntry, HandwrittenHash, std::equal_to<>>;

inline HandwrittenEntry& FindOrCreate(HandwrittenMap& map, std::string_view name) {
    const auto found = map.find(name);
    return found == map.end() ? map.emplace(name, HandwrittenEntry()).first->second : found->second;
}

inline void AddValue(HandwrittenMap& map, std::string_view name, double value) {
    HandwrittenEntry& entry = FindOrCreate(map, name);
    entry.totals.Add(value);
    entry.lasts.Add(value);
}

inline void AddMap(HandwrittenMap& target, const HandwrittenMap& source) {
    for (const auto& [name, added] : source) {
        HandwrittenEntry& entry = FindOrCreate(target, name);
        entry.totals.Add(added.totals);
        entry.lasts.Add(added.lasts);
    }
}

inline void AppendNumber(std::string& text, double value) {
    char buffer[400];
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 3).ptr;
    text.append(buffer, end);
    text += '\x01';
}

inline void AppendAggregate(std::string& text, const HandwrittenAggregate& aggregate) {
    for (const double value : {aggregate.minimum, aggregate.maximum, aggregate.count, aggregate.sum,
                               aggregate.sumSqr, aggregate.sum / aggregate.count})
        AppendNumber(text, value);
}

inline std::string Render(const HandwrittenMap& map) {
    std::string text;
    for (const auto& [name, entry] : map) {
        text += name;
        text += '\x01';
        AppendAggregate(text, entry.totals);
        AppendAggregate(text, entry.lasts);
    }
    return text;
}

/// One map per client under one mutex. Safe for concurrent use.
class HandwrittenStatistics {
public:
    explicit HandwrittenStatistics(int clients) : m_maps(static_cast<std::size_t>(clients)) {}

    void AddLast(int client, const char* name, double value) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lastReport = std::chrono::steady_clock::now();
        AddValue(m_maps[static_cast<std::size_t>(client)], name, value);
    }

    /// Drops all maps.
    void Clear() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        for (HandwrittenMap& map : m_maps) map = HandwrittenMap();
    }

    /// All maps in one, as text.
    std::string RollUp() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        HandwrittenMap merged;
        for (const HandwrittenMap& map : m_maps) AddMap(merged, map);
        return Render(merged);
    }

private:
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_lastReport;
    std::vector<HandwrittenMap> m_maps;
};

#endif
