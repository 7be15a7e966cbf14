#include "page/pagejson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "figures/statistics.h"
#include "page/builtpage.h"
#include "terminal/escapedtext.h"

namespace kzstatprogram {
namespace {

using Json = nlohmann::ordered_json;
using Types = CKZStatPointTypeEnum;

constexpr double kMaxExactInteger = 9007199254740992.0;

/// JSON knows neither NaN nor infinity; the absence of a value is told as null.
Json Number(double value) {
    if (!std::isfinite(value)) return nullptr;
    const bool isWhole = value == std::trunc(value) && std::abs(value) < kMaxExactInteger;
    return isWhole ? Json(static_cast<long long>(value)) : Json(value);
}

Json Number(const std::optional<double>& value) {
    return value ? Number(*value) : Json(nullptr);
}

Json RunJson(const kzjournal::Run& run) {
    return {{"id", kzterminal::EscapedText(run.id)},
            {"generator", kzterminal::EscapedText(run.generator)},
            {"startTime", Number(run.startTime)},
            {"sliceLength", Number(run.sliceLength)},
            {"host", kzterminal::EscapedText(run.host)},
            {"commandLine", kzterminal::EscapedText(run.commandLine)}};
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

Json FiguresJson(const Statistics& s) {
    return {{"count", Number(s.count)},
            {"rate", Number(s.rate)},
            {"min", Number(s.minimum)},
            {"mean", Number(s.average)},
            {"max", Number(s.maximum)},
            {"stddev", s.deviation ? Number(s.deviation->value) : Json(nullptr)},
            {"stddevError", s.deviation ? Number(s.deviation->error) : Json(nullptr)},
            {"sum", Number(s.sum)},
            {"last", Number(s.current)}};
}

template <class Field>
Json Series(const Course& course, std::size_t from, Field field) {
    Json series = Json::array();
    for (std::size_t i = from; i < course.Size(); ++i)
        series.push_back(Number(course.Buckets()[i].*field));
    return series;
}

/// Leaves out what is not drawn.
Json CourseJson(const Course& course, std::size_t from, bool isSampled, bool flows) {
    Json json = Json::object();
    if (isSampled) {
        json["minimum"] = Series(course, from, &Bucket::minimum);
        json["maximum"] = Series(course, from, &Bucket::maximum);
        json["count"] = Series(course, from, &Bucket::count);
        json["sum"] = Series(course, from, &Bucket::sum);
    }
    if (flows) {
        json["flow"] = Series(course, from, &Bucket::flow);
        json["leastFlow"] = Series(course, from, &Bucket::leastFlow);
        json["mostFlow"] = Series(course, from, &Bucket::mostFlow);
    }
    return json;
}

Json NameJson(const RunHistory::Entry& entry, double seconds, std::size_t from) {
    const Statistics statistics = StatisticsOf(entry.latest, seconds);
    const Types::PointType type = entry.latest.type;
    const bool flows = !std::isnan(FlowOf(type, {}));
    return {{"name", kzterminal::EscapedText(statistics.name)},
            {"type", Types::GetStringFromEnumType(type)},
            {"unit", statistics.unit},
            {"isLevel", IsLevel(type)},
            {"figures", FiguresJson(statistics)},
            {"course", CourseJson(entry.course, from, IsSampled(type), flows)}};
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

/// What a page's text says must not end the element that it stands in.
std::string InsideScript(std::string json) {
    for (std::size_t at = 0; (at = json.find('<', at)) != std::string::npos;)
        json.replace(at, 1, "\\u003c");
    return json;
}

}  // namespace

std::string PageJson(const RunHistory& history, std::size_t from) {
    Json names = Json::array();
    for (const auto& [name, entry] : history.Names())
        names.push_back(NameJson(entry, history.Seconds(), from));
    const Json page = {{"run", RunJson(history.Facts())},
                       {"sources", SourcesJson(history.Sources())},
                       {"hasEnded", history.HasEnded()},
                       {"lostSlices", history.LostSlices()},
                       {"notes", NotesJson(history.Notes())},
                       {"lastSliceId", history.LastSliceId()},
                       {"elapsed", Number(history.Elapsed())},
                       {"slices", history.Slices()},
                       {"grid",
                        {{"first", Number(history.TimeGrid().First())},
                         {"width", Number(history.TimeGrid().Width())},
                         {"from", from},
                         {"slices", SlicesJson(history, from)}}},
                       {"load", CourseJson(history.Load(), from, false, true)},
                       {"names", names}};
    return page.dump();
}

std::string PageWith(const std::string& json) {
    return std::string(kPageHead) + InsideScript(json) + std::string(kPageTail);
}

std::string PageWithoutData() {
    return PageWith("null");
}

}  // namespace kzstatprogram
