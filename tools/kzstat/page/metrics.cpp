#include "page/metrics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <utility>
#include <vector>

#include "figures/statistics.h"
#include "kzjournalerror.h"
#include "kzstatpointkind.h"
#include "text/numbers.h"
#include "text/utf8text.h"

namespace kzstatprogram {
namespace {

using Types = CKZStatPointTypeEnum;

constexpr std::size_t kMaxPartBytes = std::size_t{256} << 10;

constexpr char kHistogramFamily[] = "kzstat_time_distribution_seconds";

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
    const std::string& name;
    const RunHistory::Entry& entry;
    Statistics statistics;
    std::string labels;
    const CKZStatPointKind* kind;  // null where the type has none

    const CKZStatMessageRecord& Record() const { return entry.latest; }
    bool IsTime() const { return kind != nullptr && kind->isDuration; }
    bool IsValue() const { return Is(CKZStatPointKind::Sampled) && !IsTime(); }
    bool IsLoad() const { return Is(CKZStatPointKind::Level); }
    bool IsSum() const { return kind == nullptr || Is(CKZStatPointKind::AddedUp); }

    bool Is(CKZStatPointKind::Reading reading) const {
        return kind != nullptr && kind->reading == reading;
    }
};

/// Of all slices, since counters must never fall.
Sample SampleOf(const std::string& name, const RunHistory::Entry& entry) {
    constexpr double noRate = 0;
    return {name, entry, StatisticsOf(entry.latest, noRate), LabelsOf(name, entry.latest),
            CKZStatPointKind::Find(entry.latest.type)};
}

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
    void Add(const std::string& lines) { m_text += lines; }
    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
};

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

/// What is shown of each name, and under what.
struct Family {
    std::string name;
    const char* type;
    const char* help;
    std::function<void(Exposition&, const Sample&)> addLines;
};

/// Sum and count of the run, its extremes and the value of the last slice; divided by `unit`.
void AddSummaryFamilies(std::vector<Family>& families, bool (Sample::*isOfIt)() const,
                        const std::string& stem, const std::string& unitName, double unit) {
    const std::string name = stem + unitName;
    families.push_back(
        {name, "summary", "All values of the run.", [=](Exposition& text, const Sample& sample) {
             if (!(sample.*isOfIt)()) return;
             const CKZStatAggregate& totals = sample.Record().totals;
             text.Line(name + "_sum", sample.labels, totals.sum / unit);
             text.Line(name + "_count", sample.labels, totals.count);
         }});
    const auto addGauge = [&](const char* which, const char* help,
                              std::optional<double> Statistics::*value) {
        const std::string gauge = stem + which + unitName;
        families.push_back({gauge, "gauge", help, [=](Exposition& text, const Sample& sample) {
                                if ((sample.*isOfIt)() && sample.statistics.*value)
                                    text.Line(gauge, sample.labels,
                                              *(sample.statistics.*value) / unit);
                            }});
    };
    addGauge("_min", "The smallest value of the run.", &Statistics::minimum);
    addGauge("_max", "The largest value of the run.", &Statistics::maximum);
    addGauge("_last", "The mean of the last slice.", &Statistics::current);
}

std::vector<Family> AllFamilies() {
    std::vector<Family> families;
    families.push_back({"kzstat_load_size", "gauge", "The load of the last slice.",
                        [](Exposition& text, const Sample& sample) {
                            if (sample.IsLoad())
                                text.Line("kzstat_load_size", sample.labels,
                                          sample.Record().lasts.sum);
                        }});
    AddSummaryFamilies(families, &Sample::IsTime, "kzstat_time", "_seconds",
                       kMillisecondsPerSecond);
    AddSummaryFamilies(families, &Sample::IsValue, "kzstat_value", "", 1);
    families.push_back(
        {"kzstat_sum_total", "counter", "What was counted or accumulated in the run.",
         [](Exposition& text, const Sample& sample) {
             if (sample.IsSum())
                 text.Line("kzstat_sum_total", sample.labels, sample.Record().totals.sum);
         }});
    families.push_back({kHistogramFamily, "histogram", "All values of the run.",
                        [](Exposition& text, const Sample& sample) {
                            text.Add(HistogramText(sample.name, sample.Record(),
                                                   RunHistory::DistributionOf(sample.entry)));
                        }});
    return families;
}

/// The family at the position, as far as the part has room for it. One without lines is not named.
void AddSome(Exposition& part, const Family& family, const RunHistory& history,
             MetricsPosition& position) {
    const auto& names = history.Names();
    auto next = position.lastName ? names.upper_bound(*position.lastName) : names.begin();
    for (; next != names.end() && part.Text().size() < kMaxPartBytes; ++next) {
        Exposition lines;
        family.addLines(lines, SampleOf(next->first, next->second));
        position.lastName = next->first;
        if (lines.Text().empty()) continue;
        if (!std::exchange(position.hasHeader, true))
            part.Family(family.name, family.type, family.help);
        part.Add(lines.Text());
    }
    if (next != names.end()) return;
    ++position.family;
    position.hasHeader = false;
    position.lastName.reset();
}

/// In seconds.
double LargestBelow(double bound) {
    return (bound * kNanosecondsPerMillisecond - 1) / kNanosecondsPerSecond;
}

}  // namespace

std::string NextMetricsPart(const RunHistory& history, MetricsPosition& position) {
    static const std::vector<Family> families = AllFamilies();
    Exposition part;
    if (position.family == families.size()) return {};
    if (position.run.empty()) {
        position.run = history.Facts().id;
        AddRun(part, history);
    } else if (position.run != history.Facts().id) {
        throw kzjournal::Error("another run has taken the place of this one; ask again");
    }
    while (position.family < families.size() && part.Text().size() < kMaxPartBytes)
        AddSome(part, families[position.family], history, position);
    return part.Text();
}

std::string HistogramText(const std::string& name, const CKZStatMessageRecord& record,
                          const CKZStatDistribution* distribution) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(record.type);
    if (distribution == nullptr || kind == nullptr || !kind->isDuration) return {};
    const std::string family = kHistogramFamily;
    const std::string labels = LabelsOf(name, record);
    Exposition text;
    const auto addBucket = [&](const std::string& le, std::uint64_t count) {
        text.Line(family + "_bucket", labels + "," + Label("le", le), static_cast<double>(count));
    };
    for (const double bound : kHistogramBounds)
        addBucket(NumberText(LargestBelow(bound)), distribution->CountBelow(bound));
    addBucket("+Inf", distribution->GetCount());
    text.Line(family + "_sum", labels, record.totals.sum / kMillisecondsPerSecond);
    text.Line(family + "_count", labels, static_cast<double>(distribution->GetCount()));
    return text.Text();
}

}  // namespace kzstatprogram
