#include "page/metrics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "figures/statistics.h"
#include "kzstatpointkind.h"
#include "text/numbers.h"
#include "text/utf8text.h"

namespace kzstatprogram {
namespace {

using Types = CKZStatPointTypeEnum;

constexpr double kMillisecondsPerSecond = 1000;
constexpr double kNanosecondsPerMillisecond = 1e6;
constexpr double kNanosecondsPerSecond = 1e9;

/// In milliseconds. They must stay as they are: histograms of other bounds cannot be compared.
constexpr double kHistogramBounds[] = {
    0.125, 0.25, 0.5,  1,    1.5,  2,    3,     4,     5,     7,     10,    14,  20,
    30,    40,   50,   70,   100,  140,  200,   250,   300,   400,   500,   700, 1000,
    1400,  2000, 2800, 4000, 5600, 8000, 11200, 16000, 32000, 64000, 128000};

/// Distributions have 128 buckets of equal width in each power of two.
constexpr bool IsBoundOfABucket(double value) {
    constexpr std::uint64_t belowTheBucket = (std::uint64_t{1} << 45) - 1;
    return (std::bit_cast<std::uint64_t>(value) & belowTheBucket) == 0;
}
static_assert(std::all_of(std::begin(kHistogramBounds), std::end(kHistogramBounds),
                          IsBoundOfABucket));
static_assert(std::is_sorted(std::begin(kHistogramBounds), std::end(kHistogramBounds)));

std::string NumberText(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    return ExactNumber(value);
}

std::string Label(const std::string& key, const std::string& value) {
    std::string text = key + "=\"";
    for (const char byte : Utf8Text(value)) {
        if (byte == '\\' || byte == '"') text += '\\';
        text += byte == '\n' ? std::string("\\n") : std::string(1, byte);
    }
    return text + "\"";
}

std::string LabelsOf(const std::string& name, const CKZStatMessageRecord& record) {
    return Label("name", name) + "," + Label("type", Types::GetStringFromEnumType(record.type));
}

/// One name of the run with all that a family may show of it.
struct Sample {
    const CKZStatMessageRecord& record;
    Statistics statistics;
    std::string labels;
    const CKZStatPointKind* kind;  // null where the type has none

    bool IsTime() const { return kind != nullptr && kind->isDuration; }
    bool IsValue() const { return Is(CKZStatPointKind::Sampled) && !IsTime(); }
    bool IsLoad() const { return Is(CKZStatPointKind::Level); }
    bool IsSum() const { return kind == nullptr || Is(CKZStatPointKind::AddedUp); }

    bool Is(CKZStatPointKind::Reading reading) const {
        return kind != nullptr && kind->reading == reading;
    }
};

class Exposition {
public:
    void Family(const std::string& name, const char* type, const char* help) {
        m_text += "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }
    void Line(const std::string& name, const std::string& labels, double value) {
        m_text +=
            name + (labels.empty() ? "" : "{" + labels + "}") + " " + NumberText(value) + "\n";
    }
    void Single(const std::string& name, const char* type, const char* help, double value,
                const std::string& labels = "") {
        Family(name, type, help);
        Line(name, labels, value);
    }
    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
};

std::vector<Sample> SamplesOf(const RunHistory& history) {
    std::vector<Sample> samples;
    for (const auto& [name, entry] : history.Names()) {
        samples.push_back({entry.latest, StatisticsOf(entry.latest, history.Seconds()),
                           LabelsOf(name, entry.latest),
                           CKZStatPointKind::Find(entry.latest.type)});
    }
    return samples;
}

void AddRun(Exposition& text, const RunHistory& history) {
    const kzjournal::Run& run = history.Facts();
    text.Single("kzstat_run_info", "gauge", "The facts of the run.", 1,
                Label("run", run.id) + "," + Label("generator", run.generator) + "," +
                    Label("host", run.host));
    text.Single("kzstat_run_start_time_seconds", "gauge", "The start of the run since 1970.",
                run.startTime);
    text.Single("kzstat_run_ended", "gauge", "1 once the run has ended.", history.HasEnded());
    text.Single("kzstat_elapsed_seconds", "gauge", "The end of the last slice since the start.",
                history.Elapsed());
    text.Single("kzstat_slices_total", "counter", "Slices in the journal.",
                static_cast<double>(history.Slices()));
    text.Single("kzstat_lost_slices_total", "counter", "Slices that could not be kept.",
                static_cast<double>(history.LostSlices()));
}

/// Sum and count of the run, its extremes and the value of the last slice; divided by `unit`.
void AddSummary(Exposition& text, const std::vector<Sample>& samples,
                bool (Sample::*isOfIt)() const, const std::string& stem,
                const std::string& unitName, double unit) {
    const std::string name = stem + unitName;
    text.Family(name, "summary", "All values of the run.");
    for (const Sample& sample : samples) {
        if (!(sample.*isOfIt)()) continue;
        text.Line(name + "_sum", sample.labels, sample.record.totals.sum / unit);
        text.Line(name + "_count", sample.labels, sample.record.totals.count);
    }
    const auto addGauge = [&](const char* which, const char* help,
                              std::optional<double> Statistics::*value) {
        std::string gauge = stem;
        gauge.append(which).append(unitName);
        text.Family(gauge, "gauge", help);
        for (const Sample& sample : samples)
            if ((sample.*isOfIt)() && sample.statistics.*value)
                text.Line(gauge, sample.labels, *(sample.statistics.*value) / unit);
    };
    addGauge("_min", "The smallest value of the run.", &Statistics::minimum);
    addGauge("_max", "The largest value of the run.", &Statistics::maximum);
    addGauge("_last", "The mean of the last slice.", &Statistics::current);
}

void AddSums(Exposition& text, const std::vector<Sample>& samples) {
    text.Family("kzstat_sum_total", "counter", "What was counted or accumulated in the run.");
    for (const Sample& sample : samples)
        if (sample.IsSum()) text.Line("kzstat_sum_total", sample.labels, sample.record.totals.sum);
}

void AddLoads(Exposition& text, const std::vector<Sample>& samples) {
    text.Family("kzstat_load_size", "gauge", "The load of the last slice.");
    for (const Sample& sample : samples)
        if (sample.IsLoad()) text.Line("kzstat_load_size", sample.labels, sample.record.lasts.sum);
}

/// In seconds.
double LargestBelow(double bound) {
    return (bound * kNanosecondsPerMillisecond - 1) / kNanosecondsPerSecond;
}

void AddHistogram(Exposition& text, const std::string& name, const std::string& labels,
                  const CKZStatDistribution& distribution, double sum) {
    const auto addBucket = [&](const std::string& le, std::uint64_t count) {
        text.Line(name + "_bucket", labels + "," + Label("le", le), static_cast<double>(count));
    };
    for (const double bound : kHistogramBounds)
        addBucket(NumberText(LargestBelow(bound)), distribution.CountBelow(bound));
    addBucket("+Inf", distribution.GetCount());
    text.Line(name + "_sum", labels, sum / kMillisecondsPerSecond);
    text.Line(name + "_count", labels, static_cast<double>(distribution.GetCount()));
}

bool HasHistogram(const kzjournal::NameSummary& summary) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(summary.record.type);
    return kind != nullptr && kind->isDuration && summary.distribution;
}

}  // namespace

std::string MetricsText(const RunHistory& history) {
    const std::vector<Sample> samples = SamplesOf(history);
    Exposition text;
    AddRun(text, history);
    AddLoads(text, samples);
    AddSummary(text, samples, &Sample::IsTime, "kzstat_time", "_seconds", kMillisecondsPerSecond);
    AddSummary(text, samples, &Sample::IsValue, "kzstat_value", "", 1);
    AddSums(text, samples);
    return text.Text();
}

std::string HistogramsText(const std::map<std::string, kzjournal::NameSummary>& names) {
    const std::string family = "kzstat_time_distribution_seconds";
    Exposition text;
    for (const auto& [name, summary] : names) {
        if (!HasHistogram(summary)) continue;
        if (text.Text().empty()) text.Family(family, "histogram", "All values of the run.");
        AddHistogram(text, family, LabelsOf(name, summary.record), *summary.distribution,
                     summary.record.totals.sum);
    }
    return text.Text();
}

}  // namespace kzstatprogram
