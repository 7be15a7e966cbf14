#include "figures/runhistory.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "figures/load.h"
#include "figures/statistics.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr unsigned kMaxThreads = 8;
constexpr std::size_t kMaxBuckets = 1000;
constexpr std::size_t kMinBuckets = 250;
/// What a browser reads in a second.
constexpr std::size_t kMaxBucketsOfAllNames = 200000;

constexpr std::size_t kSlicesDrawnTogether = 64;
/// By which the end of a slice may be rounded.
constexpr double kSlackInSlices = 0.01;
/// Columns are at least half as many as this once there are so many buckets.
constexpr std::size_t kMaxColumns = 200;
constexpr std::size_t kMinColumns = 60;
constexpr std::size_t kMaxColumnsOfAllNames = 40000;

unsigned ProcessorCount() {
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMaxThreads);
}

GridSize GridSizeFor(std::size_t names) {
    names = std::max<std::size_t>(names, 1);
    return {std::clamp(kMaxBucketsOfAllNames / names, kMinBuckets, kMaxBuckets),
            std::clamp(kMaxColumnsOfAllNames / names, kMinColumns, kMaxColumns)};
}

bool HasDistributions(const kzjournal::Slice& slice) {
    for (std::size_t i = 0; i < slice.records.size(); ++i)
        if (!slice.distributions.FormOf(i).empty()) return true;
    return false;
}

long long LostSlicesOf(RunReader& run) {
    const kzjournal::Completeness completeness = run.GetCompleteness();
    return completeness.expectedSlices - completeness.slices;
}

}  // namespace

RunHistory::RunHistory(const RunOpener& runs, const std::string& name, const Ranges& ranges,
                       const StopRequest& isStopRequested)
    : RunHistory(
          [&] {
              std::unique_ptr<RunReader> run = runs.Open(name);
              run->StopWhen(isStopRequested);
              return run;
          },
          ranges) {
    ReadCosts(runs, name);
}

RunHistory::RunHistory(const Open& open, const Ranges& ranges)
    : RunHistory(*open(), open, ranges) {}

RunHistory::RunHistory(RunReader& run, const Open& open, const Ranges& ranges)
    : m_facts(run.Facts()),
      m_sources(run.Sources()),
      m_drawn(ranges.drawn),
      m_grid(m_facts.sliceLength, ranges.drawn.from, GridSizeFor(run.Names().size())),
      m_saturation(m_facts.sliceLength),
      m_interruptions(m_facts.sliceLength),
      m_hasEnded(run.HasEnded()),
      m_isAbandoned(run.IsAbandoned()),
      m_lostSlices(LostSlicesOf(run)),
      m_notes(run.Notes()),
      m_conditions(run.Conditions()) {
    const std::optional<kzjournal::Slice> last = run.LastSlice(ranges.drawn);
    if (last) {
        m_lastSliceId = last->id;
        m_elapsed = last->elapsed;
    }
    for (const double end : run.SliceEnds(ReadForInterruptions())) m_interruptions.AddEnd(end);
    if (!last) return;
    if (m_grid.Holds(m_elapsed)) {
        m_grid.WidenFor(m_elapsed);
        m_grid.WidenColumnsFor(m_elapsed);
    }
    // Slices may come while this is read: all below is of those up to the last one.
    const kzjournal::TimeRange known{ranges.drawn.from, m_elapsed};
    m_slices = run.CountSlices(known);
    m_figuresRange = ranges.figures ? *ranges.figures : SlicesOfTheLoad(run);
    SetLoad(run.Load());
    SliceRange ofFigures = m_figuresRange;
    ofFigures.to = std::min(ofFigures.to, m_elapsed);
    m_figures.Update(run, ofFigures);
    m_seconds = SecondsOf(run, ofFigures);
    for (const CKZStatMessageRecord& record : run.Summary(known))
        m_names[TextOf(record.name)] = {record, {}, {}, m_lastSliceId, m_lastSliceId};
    // In a short run, to read a slice with all names takes less than to look for each of these. And
    // narrower buckets than stored sums are faster to fill from the slices, which have all that is
    // drawn.
    const bool isShort = m_grid.Width() <= 1;
    if (isShort || (HasDistributions(*last) && m_grid.Width() < kSlicesOfStoredSum)) {
        ReadSlices(run, known);
        return;
    }
    if (HasDistributions(*last)) ReadDistributions(run, known);
    ReadCourses(open, known);
    ReadLoad(run, known);
}

RunHistory::News RunHistory::NewsSince(RunReader& run, int sliceId) {
    // The end is asked for first, so that no slice follows it.
    News news{{}, run.HasEnded(), LostSlicesOf(run), run.Notes()};
    news.isAbandoned = run.IsAbandoned();
    run.ForEachSliceAfter(sliceId,
                          [&](const kzjournal::Slice& slice) { news.slices.push_back(slice); });
    // As it is known with the last one of them, or later.
    news.load = run.Load();
    news.figures = SlicesOfTheLoad(run);
    news.seconds = SecondsOf(run, news.figures);
    return news;
}

bool RunHistory::CanAdd(const News& news) const {
    return IsUnderTheSameLoad(news) &&
           std::all_of(news.slices.begin(), news.slices.end(), [&](const kzjournal::Slice& slice) {
               return !m_grid.Holds(slice.elapsed) || m_grid.HasRoomFor(slice.elapsed);
           });
}

/// What reaches into the range may be told by a slice outside of it. Slices that may come while
/// this is read are added later, where the range has no end.
kzjournal::TimeRange RunHistory::ReadForInterruptions() const {
    return {0, std::isinf(m_drawn.to) ? m_elapsed : std::numeric_limits<double>::infinity()};
}

void RunHistory::ReadCosts(const RunOpener& runs, const std::string& name) {
    ForEachCostOf(*runs.Open(name), runs, name, ReadForInterruptions(),
                  [this](const std::string& generator, const kzjournal::SliceCost& slice) {
                      AddCost(generator, slice);
                  });
}

void RunHistory::AddCost(const std::string& generator, const kzjournal::SliceCost& slice) {
    m_interruptions.AddCost(generator, slice);
    if (!IsDrawn(slice.elapsed)) return;
    if (IsUnderLoad(slice.elapsed)) m_saturation.Add(generator, slice);
    const std::optional<double> share =
        kzconditions::ProcessorShare(slice.cost, m_facts.sliceLength);
    if (share && m_grid.Holds(slice.elapsed))
        m_processorShares.Add(m_grid.PlaceOf(slice.elapsed).bucket, {{}, *share});
}

bool RunHistory::IsUnderTheSameLoad(const News& news) const {
    const auto beginOf = [](const SliceRange& range) { return std::max(range.from, 0.0); };
    const auto endOf = [&](const SliceRange& range) {
        return std::min(range.underLoad.to, m_elapsed);
    };
    return beginOf(m_figuresRange) == beginOf(news.figures) &&
           endOf(m_figuresRange) == endOf(news.figures);
}

bool RunHistory::IsDrawn(double elapsed) const {
    const double slack = kSlackInSlices * m_facts.sliceLength;
    const double begin = elapsed - m_facts.sliceLength;
    return (m_drawn.from <= 0 || begin >= m_drawn.from - slack) && elapsed <= m_drawn.to + slack;
}

bool RunHistory::IsUnderLoad(double elapsed) const {
    return m_figuresRange.underLoad.Selects(elapsed, m_facts.sliceLength);
}

void RunHistory::SetLoad(const kzjournal::LoadSpan& load) {
    m_facts.loadBegin = load.begin;
    m_facts.loadEnd = load.end;
}

bool RunHistory::Add(const News& news) {
    SetLoad(news.load);
    m_figuresRange = news.figures;
    m_seconds = news.seconds;
    for (const kzjournal::Slice& slice : news.slices) Add(slice);
    const bool isNew =
        !news.slices.empty() || news.hasEnded != m_hasEnded || news.isAbandoned != m_isAbandoned;
    m_hasEnded = news.hasEnded;
    m_isAbandoned = news.isAbandoned;
    m_lostSlices = news.lostSlices;
    m_notes = news.notes;
    return isNew;
}

std::size_t RunHistory::Buckets() const {
    std::size_t buckets = 0;
    for (const auto& [name, entry] : m_names) buckets = std::max(buckets, entry.course.Size());
    return buckets;
}

const CKZStatDistribution* RunHistory::DistributionOf(const Entry& entry) {
    const DistributionCourse& distributions = entry.distributions;
    return distributions.IsEmpty() ? nullptr : distributions.OfAll(entry.latest.totals.count);
}

/// Names are read on all processors: the file of a day takes seconds.
void RunHistory::ReadCourses(const Open& open, const kzjournal::TimeRange& range) {
    std::vector<std::pair<const std::string, Entry>*> names;
    for (auto& each : m_names) names.push_back(&each);
    std::atomic<std::size_t> next{0};
    const auto readSome = [&] {
        const std::unique_ptr<RunReader> run = open();
        for (std::size_t i = next++; i < names.size(); i = next++)
            ReadCourse(*run, names[i]->first, names[i]->second, range);
    };
    std::vector<std::future<void>> readers;
    for (unsigned i = 0; i < ProcessorCount(); ++i)
        readers.push_back(std::async(std::launch::async, readSome));
    for (std::future<void>& reader : readers) reader.get();
}

void RunHistory::ReadCourse(RunReader& run, const std::string& name, Entry& entry,
                            const kzjournal::TimeRange& range) const {
    run.ForEachPoint(name, range, [&](const kzjournal::SeriesPoint& point) {
        if (m_grid.Holds(point.elapsed))
            entry.course.Add(m_grid.PlaceOf(point.elapsed).bucket,
                             {point.lasts, FlowOf(entry.latest.type, point.lasts)});
    });
}

/// Draws slices on all processors while the next ones are read.
void RunHistory::ReadSlices(RunReader& run, const kzjournal::TimeRange& range) {
    std::vector<kzjournal::Slice> slices;
    std::vector<std::future<void>> drawing;
    const auto awaitDrawn = [&] {
        for (std::future<void>& each : std::exchange(drawing, {})) each.get();
    };
    const auto beginToDraw = [&] {
        awaitDrawn();
        const auto read = std::make_shared<std::vector<kzjournal::Slice>>(std::move(slices));
        slices.clear();
        for (unsigned i = 0; i < ProcessorCount(); ++i)
            drawing.push_back(std::async(std::launch::async, [this, read, i] {
                DrawNames(*read, {i, ProcessorCount()});
            }));
    };
    run.ForEachSlice(range, [&](const kzjournal::Slice& slice) {
        if (!m_grid.Holds(slice.elapsed)) return;
        m_load.Add(m_grid.PlaceOf(slice.elapsed).bucket, {{}, LoadIn(slice)});
        slices.push_back(slice);
        if (slices.size() == kSlicesDrawnTogether) beginToDraw();
    });
    beginToDraw();
    awaitDrawn();
    for (auto& [name, entry] : m_names) entry.distributions.Settle();
}

void RunHistory::ReadDistributions(RunReader& run, const kzjournal::TimeRange& range) {
    const auto bucketOf = [&](double elapsed) {
        return m_grid.Holds(elapsed) ? static_cast<long long>(m_grid.PlaceOf(elapsed).bucket) : -1;
    };
    run.ForEachSum(range, bucketOf, [&](const kzjournal::Slice& sum) {
        if (!m_grid.Holds(sum.elapsed)) return;
        for (std::size_t i = 0; i < sum.records.size(); ++i)
            if (Entry* const entry = Find(sum.records[i]))
                AddDistribution(m_grid.PlaceOf(sum.elapsed), sum, i, *entry);
    });
    for (auto& [name, entry] : m_names) entry.distributions.Settle();
}

void RunHistory::ReadLoad(RunReader& run, const kzjournal::TimeRange& range) {
    for (const auto& [elapsed, size] : LoadThroughTime(run, range))
        if (m_grid.Holds(elapsed)) m_load.Add(m_grid.PlaceOf(elapsed).bucket, {{}, size});
}

void RunHistory::Add(const kzjournal::Slice& slice) {
    m_lastSliceId = slice.id;
    m_elapsed = slice.elapsed;
    ++m_slices;
    m_interruptions.AddEnd(m_elapsed);
    if (m_figuresRange.Selects(m_elapsed, m_facts.sliceLength))
        m_figures.Add(slice, IsUnderLoad(m_elapsed));
    for (const CKZStatMessageRecord& record : slice.records) {
        Entry& entry = m_names[TextOf(record.name)];
        entry.latest = record;
        if (record.lasts.count > 0) entry.lastValuesId = slice.id;
    }
    if (!m_grid.Holds(m_elapsed)) return;
    JoinColumnsFor(m_elapsed);
    m_load.Add(m_grid.PlaceOf(m_elapsed).bucket, {{}, LoadIn(slice)});
    if (slice.cost) AddCost("", {slice.id, slice.elapsed, *slice.cost});
    DrawNames({slice}, {0, 1});
    for (auto& [name, entry] : m_names) {
        const int height = entry.distributions.Map().RowHeight();
        entry.distributions.Settle();
        if (entry.distributions.Map().RowHeight() != height) entry.lastRowsId = slice.id;
    }
}

/// REQUIRES: the grid holds the slices. Changes nothing but the names of the share.
void RunHistory::DrawNames(const std::vector<kzjournal::Slice>& slices, const Share& share) {
    for (const kzjournal::Slice& slice : slices) {
        const Place place = m_grid.PlaceOf(slice.elapsed);
        for (std::size_t i = 0; i < slice.records.size(); ++i) {
            const CKZStatMessageRecord& record = slice.records[i];
            if (std::hash<std::string_view>()(record.name.view()) % share.of != share.number)
                continue;
            Entry* const entry = Find(record);
            if (entry == nullptr) continue;
            entry->course.Add(place.bucket, {record.lasts, FlowOf(record.type, record.lasts)});
            AddDistribution(place, slice, i, *entry);
        }
    }
}

/// None of a level, whose values are parts of it.
void RunHistory::AddDistribution(const Place& place, const kzjournal::Slice& sum,
                                 std::size_t position, Entry& entry) {
    if (IsLevel(entry.latest.type)) return;
    const double count = sum.records[position].lasts.count;
    sum.AddDistributionTo(entry.distributions.Add(place, count), position);
}

/// Null if the name is not known: totals never forget one, unless they are damaged.
RunHistory::Entry* RunHistory::Find(const CKZStatMessageRecord& record) {
    const auto found = m_names.find(TextOf(record.name));
    return found == m_names.end() ? nullptr : &found->second;
}

void RunHistory::JoinColumnsFor(double elapsed) {
    for (int times = m_grid.WidenColumnsFor(elapsed); times > 0; --times)
        for (auto& [name, entry] : m_names) entry.distributions.JoinColumns();
}

}  // namespace kzstatprogram
