#include "page/pagejson.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "conditions/earlystop.h"
#include "conditions/verdict.h"
#include "figures/figuresofstatistics.h"
#include "figures/statistics.h"
#include "page/builtpage.h"
#include "terminal/escapedtext.h"

namespace kzstatprogram {
namespace {

using Json = nlohmann::ordered_json;
using Types = CKZStatPointTypeEnum;

constexpr double kMaxExactInteger = 9007199254740992.0;

/// A name more fits into each part.
constexpr std::size_t kMaxPartBytes = std::size_t{128} << 10;

constexpr std::size_t kMaxInterruptions = 1000;

/// JSON knows neither NaN nor infinity; the absence of a value is told as null.
Json Number(double value) {
    if (!std::isfinite(value)) return nullptr;
    const bool isWhole = value == std::trunc(value) && std::abs(value) < kMaxExactInteger;
    return isWhole ? Json(static_cast<long long>(value)) : Json(value);
}

Json Number(const std::optional<double>& value) {
    return value ? Number(*value) : Json(nullptr);
}

/// To six digits, which tell every bucket of a distribution apart and are shorter than all of them.
/// Whole numbers are short as they are.
Json RoundedNumber(double value) {
    constexpr int digits = 6;
    if (!std::isfinite(value) || value == std::trunc(value)) return Number(value);
    const int decimals = digits - 1 - static_cast<int>(std::floor(std::log10(std::abs(value))));
    const double scale = std::pow(10, std::abs(decimals));
    if (!std::isfinite(scale)) return Number(value);
    return Number(decimals < 0 ? std::round(value / scale) * scale
                               : std::round(value * scale) / scale);
}

/// Infinities are texts.
Json Figure(double value) {
    if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
    return Number(value);
}

Json Figure(const std::optional<double>& value) {
    return value ? Figure(*value) : Json(nullptr);
}

Json RoundedFigure(double value) {
    return std::isinf(value) ? Figure(value) : RoundedNumber(value);
}

/// How a series tells a number: one that is only drawn has no infinities.
using Tell = Json (*)(double);

/// `loadBegin` and `loadEnd` are in seconds since the start of the run, null while unknown: a page
/// tells what is outside them from the load.
Json RunJson(const kzjournal::Run& run) {
    return {{"id", kzterminal::EscapedText(run.id)},
            {"generator", kzterminal::EscapedText(run.generator)},
            {"startTime", Number(run.startTime)},
            {"sliceLength", Number(run.sliceLength)},
            {"host", kzterminal::EscapedText(run.host)},
            {"commandLine", kzterminal::EscapedText(run.commandLine)},
            {"loadBegin", Number(run.loadBegin)},
            {"loadEnd", Number(run.loadEnd)}};
}

/// The runs that have slices of their own.
Json SourcesJson(const std::vector<kzjournal::Source>& sources) {
    Json all = Json::array();
    for (const kzjournal::Source& source : sources)
        if (!source.isMerged) all.push_back(RunJson(source.run));
    return all;
}

Json NotesJson(const std::vector<kzjournal::Note>& notes) {
    Json all = Json::array();
    for (const kzjournal::Note& note : notes)
        all.push_back({{"time", Number(note.time)}, {"text", kzterminal::EscapedText(note.text)}});
    return all;
}

/// The bounds that the user gave for what is drawn, null where there is none.
Json AskedJson(const kzjournal::TimeRange& drawn) {
    return {{"from", drawn.from > 0 ? Number(drawn.from) : Json(nullptr)},
            {"to", Number(drawn.to)}};
}

/// `kind` is "missing" or "standstill"; a generator is told where a source stood still. Of very
/// many a page draws the longest ones.
Json InterruptionsJson(const std::vector<Interruption>& interruptions) {
    Json all = Json::array();
    for (const Interruption& each : LongestOf(interruptions, kMaxInterruptions))
        all.push_back({{"kind", each.kind == Interruption::Missing ? "missing" : "standstill"},
                       {"from", Number(each.from)},
                       {"to", Number(each.to)},
                       {"generator", kzterminal::EscapedText(each.generator)}});
    return all;
}

/// `distribution` is null where none is known.
Json FiguresJson(const Statistics& s, const CKZStatDistribution* distribution) {
    const auto percentile = [&](double q) {
        return distribution != nullptr ? Figure(distribution->Quantile(q)) : Json(nullptr);
    };
    return {{"count", Figure(s.count)},
            {"rate", Figure(s.rate)},
            {"min", Figure(s.minimum)},
            {"mean", Figure(s.average)},
            {"p50", percentile(0.50)},
            {"p95", percentile(0.95)},
            {"p99", percentile(0.99)},
            {"max", Figure(s.maximum)},
            {"stddev", s.deviation ? Figure(s.deviation->value) : Json(nullptr)},
            {"stddevBound", s.deviation ? Figure(BoundOfDeviation(*s.deviation)) : Json(nullptr)},
            {"sum", Figure(s.sum)},
            {"last", Figure(s.current)}};
}

template <class Field>
Json Series(const Course& course, std::size_t from, Field field, Tell tell) {
    Json series = Json::array();
    for (std::size_t i = from; i < course.Size(); ++i)
        series.push_back(tell(static_cast<double>(course.Buckets()[i].*field)));
    return series;
}

Json ShareSeries(const Course& course, std::size_t from) {
    Json series = Json::array();
    for (std::size_t i = from; i < course.Size(); ++i)
        series.push_back(RoundedNumber(course.Buckets()[i].MeanFlow()));
    return series;
}

Json LevelSeries(const Course& course, std::size_t from, Tell tell) {
    Json series = Json::array();
    for (std::size_t i = from; i < course.Size(); ++i)
        series.push_back(tell(course.Buckets()[i].MeanFlow()));
    return series;
}

/// As long as the course, since a page puts the end of each series in place of its own.
Json PercentileSeries(const RunHistory::Entry& entry, std::size_t from,
                      double BucketPercentiles::*field, Tell tell) {
    const std::vector<BucketPercentiles>& percentiles = entry.distributions.Percentiles();
    Json series = Json::array();
    for (std::size_t i = from; i < entry.course.Size(); ++i)
        series.push_back(i < percentiles.size() ? tell(percentiles[i].*field) : Json(nullptr));
    return series;
}

/// A sum of many values has more digits than a mean of them needs.
Json SumSeries(const Course& course, std::size_t from) {
    Json series = Json::array();
    for (std::size_t i = from; i < course.Size(); ++i)
        series.push_back(RoundedFigure(course.Buckets()[i].sum));
    return series;
}

/// A name that is missing in a slice is a flow of 0, but no level. A bucket of one slice has the
/// least and the most of it in its flow.
void AddFlow(const Course& course, std::size_t from, bool isLevel, const Grid& grid, Tell tell,
             Json& json) {
    json["flow"] =
        isLevel ? LevelSeries(course, from, tell) : Series(course, from, &Bucket::flow, tell);
    if (grid.Width() == 1) return;
    json["leastFlow"] = Series(course, from, &Bucket::leastFlow, tell);
    json["mostFlow"] = Series(course, from, &Bucket::mostFlow, tell);
}

/// Leaves out what is not drawn.
Json CourseJson(const RunHistory::Entry& entry, std::size_t from, const Grid& grid) {
    const Types::PointType type = entry.latest.type;
    const bool hasDistributions = !entry.distributions.IsEmpty();
    Json json = Json::object();
    if (hasDistributions) {
        json["p50"] = PercentileSeries(entry, from, &BucketPercentiles::p50, RoundedFigure);
        json["p95"] = PercentileSeries(entry, from, &BucketPercentiles::p95, RoundedFigure);
        json["p99"] = PercentileSeries(entry, from, &BucketPercentiles::p99, RoundedFigure);
    } else if (IsSampled(type)) {
        json["minimum"] = Series(entry.course, from, &Bucket::minimum, Figure);
    }
    if (hasDistributions || IsSampled(type)) {
        json["maximum"] = Series(entry.course, from, &Bucket::maximum, Figure);
        json["count"] = Series(entry.course, from, &Bucket::count, Number);
        json["sum"] = SumSeries(entry.course, from);
    }
    const bool flows = IsLevel(type) || !std::isnan(FlowOf(type, {}));
    if (flows) AddFlow(entry.course, from, IsLevel(type), grid, Figure, json);
    return json;
}

Json LoadJson(const Course& load, std::size_t from, const Grid& grid) {
    Json json = Json::object();
    AddFlow(load, from, true, grid, Number, json);
    return json;
}

/// The row of the first cell, then counts; -n stands for n rows without values.
Json ColumnJson(const HeatMap::Column& column) {
    Json json = Json::array();
    int next = column.empty() ? 0 : column.front().row;
    if (!column.empty()) json.push_back(next);
    for (const HeatMap::Cell& cell : column) {
        if (cell.row > next) json.push_back(next - cell.row);
        json.push_back(cell.count);
        next = cell.row + 1;
    }
    return json;
}

Json HeatMapJson(const HeatMap& map, std::size_t from) {
    Json columns = Json::array();
    for (std::size_t i = from; i < map.Columns().size(); ++i)
        columns.push_back(ColumnJson(map.Columns()[i]));
    return {{"rowHeight", map.RowHeight()}, {"from", from}, {"columns", columns}};
}

/// The shares of values at which the cumulative distribution is told: each leaves four fifths of
/// the values that the one before leaves, down to one in ten thousand; and some round ones.
const std::vector<double>& Ranks() {
    static const std::vector<double> ranks = [] {
        std::vector<double> all{0.01, 0.05, 0.1, 0.5, 0.95};
        for (int tenths = 0; tenths <= 40; ++tenths)
            all.push_back(1 - std::pow(10, -tenths / 10.0));
        std::sort(all.begin(), all.end());
        return all;
    }();
    return ranks;
}

/// The value at each rank; those that are left out at the end equal the last one.
Json CumulativeJson(const CKZStatDistribution* distribution, Tell tell) {
    if (distribution == nullptr) return nullptr;
    Json values = Json::array();
    for (const double rank : Ranks()) values.push_back(tell(distribution->Quantile(rank)));
    while (values.size() > 1 && values[values.size() - 2] == values.back())
        values.erase(values.size() - 1);
    return values;
}

/// The first column of the map that a page with columns up to `from` lacks.
std::size_t FirstColumnMissing(const RunHistory::Entry& entry, std::size_t from,
                               const PageState& page) {
    return entry.lastRowsId > page.lastSliceId ? 0 : from;
}

/// Without values where no slice of the range of the figures has the name.
kzjournal::NameSummary FiguresOf(const std::string& name, const RunHistory::Entry& entry,
                                 const RunHistory& history) {
    const auto found = history.Figures().find(name);
    if (found != history.Figures().end()) return found->second;
    return {{entry.latest.name, entry.latest.type, {}, {}}, std::nullopt};
}

Statistics StatisticsIn(const std::string& name, const RunHistory::Entry& entry,
                        const RunHistory& history) {
    return StatisticsOf(FiguresOf(name, entry, history), history.Seconds());
}

/// Null if it is not known.
const CKZStatDistribution* DistributionOf(const Statistics& statistics) {
    return statistics.distribution ? &*statistics.distribution : nullptr;
}

Json NameJson(const std::string& name, const RunHistory::Entry& entry, const RunHistory& history,
              const PageState& page) {
    const Statistics statistics = StatisticsIn(name, entry, history);
    const CKZStatDistribution* const distribution = DistributionOf(statistics);
    const std::size_t from = page.firstBucketMissing;
    Json json = {{"name", kzterminal::EscapedName(statistics.name)},
                 {"type", Types::GetStringFromEnumType(entry.latest.type)},
                 {"unit", statistics.unit},
                 {"isLevel", IsLevel(entry.latest.type)},
                 {"figures", FiguresJson(statistics, distribution)},
                 {"course", CourseJson(entry, from, history.TimeGrid())}};
    const bool hasNews = from == 0 || entry.lastValuesId > page.lastSliceId;
    if (hasNews && !entry.distributions.IsEmpty()) {
        const std::size_t column = from / history.TimeGrid().ColumnWidth();
        json["heat"] =
            HeatMapJson(entry.distributions.Map(), FirstColumnMissing(entry, column, page));
        json["cumulative"] = CumulativeJson(distribution, RoundedFigure);
    }
    return json;
}

Json MeanSeries(const Course& course) {
    Json series = Json::array();
    for (const Bucket& bucket : course.Buckets())
        series.push_back(bucket.count > 0 ? RoundedNumber(bucket.sum / bucket.count)
                                          : Json(nullptr));
    return series;
}

/// Only samples have a distribution to compare.
Json CurveJson(const std::string& name, const RunHistory::Entry& entry, const RunHistory& history) {
    const Types::PointType type = entry.latest.type;
    const Statistics statistics = StatisticsIn(name, entry, history);
    Json course = Json::object();
    if (IsSampled(type) && !entry.distributions.IsEmpty())
        course["p95"] = PercentileSeries(entry, 0, &BucketPercentiles::p95, RoundedNumber);
    else if (IsSampled(type))
        course["mean"] = MeanSeries(entry.course);
    if (IsLevel(type))
        course["flow"] = LevelSeries(entry.course, 0, Number);
    else if (!std::isnan(FlowOf(type, {})))
        course["flow"] = Series(entry.course, 0, &Bucket::flow, Number);
    return {{"name", kzterminal::EscapedName(statistics.name)},
            {"max", Number(statistics.maximum)},
            {"course", course},
            {"cumulative",
             IsSampled(type) ? CumulativeJson(DistributionOf(statistics), RoundedNumber) : Json()}};
}

/// How many slices each bucket holds. A name that comes late is missing in the first ones.
Json SlicesJson(const RunHistory& history, std::size_t from) {
    std::vector<int> slices;
    for (const auto& [name, entry] : history.Names()) {
        const auto& buckets = entry.course.Buckets();
        slices.resize(std::max(slices.size(), buckets.size()));
        for (std::size_t i = 0; i < buckets.size(); ++i)
            slices[i] = std::max(slices[i], buckets[i].slices);
    }
    Json json = Json::array();
    for (std::size_t i = from; i < slices.size(); ++i) json.push_back(slices[i]);
    return json;
}

/// By the figures; nothing where the run was to meet nothing.
std::vector<kzconditions::Judgement> JudgeConditions(const RunHistory& history) {
    if (history.Conditions().empty()) return {};
    std::vector<Statistics> statistics;
    for (const auto& [name, entry] : history.Names())
        statistics.push_back(StatisticsIn(name, entry, history));
    const FiguresOfStatistics figures("the run", statistics);
    return kzconditions::JudgeTexts(history.Conditions(), kzconditions::Demand::Must, figures);
}

/// What the run was to meet. One that was stopped early has failed besides.
Json ConditionsJson(const RunHistory& history) {
    std::vector<kzconditions::Judgement> judgements = JudgeConditions(history);
    if (auto stop = kzconditions::EarlyStopIn(history.Notes()))
        judgements.push_back(std::move(*stop));
    Json all = Json::array();
    for (const kzconditions::Judgement& judgement : judgements)
        all.push_back({{"text", kzterminal::EscapedText(judgement.condition)},
                       {"outcome", kzconditions::TextOf(judgement.outcome)},
                       {"measured", kzterminal::EscapedText(judgement.text)}});
    return all;
}

/// `seconds` is the time of the figures, which are those of the slices under load unless the user
/// has chosen others, and `figuresFrom` where it begins; `elapsed` and `slices` are of all that is
/// drawn.
///
/// `processorShare` is the share of its processors that the generator used, from 0 to 1, per bucket
/// of the grid from `grid.from` on; null where it was not measured, and shorter than the grid where
/// no later bucket was. `saturatedFrom` is where the generator became the bottleneck, in seconds of
/// the run, and `saturation` says so in a line; both are null if it did not.
Json PageWithoutNames(const RunHistory& history, const PageState& page) {
    const std::size_t from = page.firstBucketMissing;
    return {{"run", RunJson(history.Facts())},
            {"sources", SourcesJson(history.Sources())},
            {"hasEnded", history.HasEnded()},
            {"isAbandoned", history.IsAbandoned()},
            {"lostSlices", history.LostSlices()},
            {"asked", AskedJson(history.Drawn())},
            {"notes", NotesJson(history.Notes())},
            {"interruptions", InterruptionsJson(history.Interruptions())},
            {"conditions", ConditionsJson(history)},
            {"lastSliceId", history.LastSliceId()},
            {"elapsed", Number(history.Elapsed())},
            {"slices", history.Slices()},
            {"seconds", Number(history.Seconds())},
            {"figuresFrom", Number(history.FiguresFrom())},
            {"grid",
             {{"first", Number(history.TimeGrid().First())},
              {"width", Number(history.TimeGrid().Width())},
              {"columnWidth", history.TimeGrid().ColumnWidth()},
              {"from", from},
              {"slices", SlicesJson(history, from)}}},
            {"load", LoadJson(history.Load(), from, history.TimeGrid())},
            {"processorShare", ShareSeries(history.ProcessorShares(), from)},
            {"saturatedFrom",
             history.GetSaturation() ? Number(history.GetSaturation()->from) : Json(nullptr)},
            {"saturation", history.GetSaturation()
                               ? Json(kzterminal::EscapedText(
                                     kzconditions::DescribeSaturation(*history.GetSaturation())))
                               : Json(nullptr)},
            {"ranks", Ranks()}};
}

/// What a page's text says must not end the element that it stands in.
std::string InsideScript(std::string json) {
    for (std::size_t at = 0; (at = json.find('<', at)) != std::string::npos;)
        json.replace(at, 1, "\\u003c");
    return json;
}

}  // namespace

std::string PageJson(const RunHistory& history, const PageState& page) {
    Json json = PageWithoutNames(history, page);
    Json& names = json["names"] = Json::array();
    for (const auto& [name, entry] : history.Names())
        names.push_back(NameJson(name, entry, history, page));
    return json.dump();
}

PagePart NextPagePart(const RunHistory& history, const PageState& page,
                      const std::optional<PagePart>& before) {
    PagePart part;
    if (before) part.number = before->number + 1;
    auto next = before ? history.Names().upper_bound(before->lastName) : history.Names().begin();
    std::string names;
    for (; next != history.Names().end() && names.size() < kMaxPartBytes; ++next) {
        if (!names.empty()) names += ',';
        names += NameJson(next->first, next->second, history, page).dump();
        part.lastName = next->first;
    }
    part.isLast = next == history.Names().end();
    Json json = part.isLast ? PageWithoutNames(history, page) : Json::object();
    json["part"] = part.number;
    json["isLastPart"] = part.isLast;
    part.json = json.dump();
    part.json.pop_back();
    part.json.append(",\"names\":[").append(names).append("]}");
    return part;
}

std::string CurvesJson(const RunHistory& history) {
    Json json = PageWithoutNames(history, {});
    Json& names = json["names"] = Json::array();
    for (const auto& [name, entry] : history.Names())
        names.push_back(CurveJson(name, entry, history));
    return json.dump();
}

Json NamesJson(const std::vector<Statistics>& names) {
    Json json = Json::array();
    for (const Statistics& each : names)
        json.push_back({{"name", kzterminal::EscapedName(each.name)},
                        {"type", Types::GetStringFromEnumType(each.type)},
                        {"unit", each.unit},
                        {"isLevel", IsLevel(each.type)},
                        {"figures", FiguresJson(each, DistributionOf(each))}});
    return json;
}

std::string PageWith(const BuiltPage& page, const std::string& json) {
    return std::string(page.head) + InsideScript(json) + std::string(page.tail);
}

std::string PageWith(const std::string& json) {
    return PageWith(kRunPage, json);
}

std::string PageWithoutData() {
    return PageWith("null");
}

}  // namespace kzstatprogram
