#include "figures/runhistory.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "figures/load.h"
#include "figures/statistics.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr unsigned kMaxReaders = 8;
constexpr std::size_t kMaxBuckets = 1000;
constexpr std::size_t kMinBuckets = 250;
/// What a browser reads in a second.
constexpr std::size_t kMaxBucketsOfAllNames = 200000;

std::size_t BucketsPerName(std::size_t names) {
    return std::clamp(kMaxBucketsOfAllNames / std::max<std::size_t>(names, 1), kMinBuckets,
                      kMaxBuckets);
}

long long LostSlicesOf(kzjournal::Reader& journal) {
    const kzjournal::Completeness completeness = journal.GetCompleteness();
    return completeness.expectedSlices - completeness.slices;
}

}  // namespace

RunHistory::RunHistory(const std::string& path, const kzjournal::TimeRange& range)
    : RunHistory(kzjournal::Reader(path), path, range) {}

RunHistory::RunHistory(kzjournal::Reader&& journal, const std::string& path,
                       const kzjournal::TimeRange& range)
    : m_facts(journal.Facts()),
      m_sources(journal.Sources()),
      m_grid(m_facts.sliceLength, range.from, BucketsPerName(journal.Names().size())),
      m_hasEnded(journal.HasEnded()),
      m_lostSlices(LostSlicesOf(journal)),
      m_notes(journal.Notes()) {
    const std::optional<kzjournal::Slice> last = journal.LastSlice(range);
    if (!last) return;
    m_lastSliceId = last->id;
    m_elapsed = last->elapsed;
    // Slices may come while this is read: all below is of those up to the last one.
    const kzjournal::TimeRange known{range.from, m_elapsed};
    m_slices = journal.CountSlices(known);
    for (const CKZStatMessageRecord& record : journal.Summary(known))
        m_names[TextOf(record.name)].latest = record;
    MakeRoomFor(m_elapsed);
    ReadCourses(path, known);
    ReadLoad(journal, known);
}

RunHistory::News RunHistory::NewsSince(kzjournal::Reader& journal, int sliceId) {
    // The end is asked for first, so that no slice follows it.
    News news{{}, journal.HasEnded(), LostSlicesOf(journal), journal.Notes()};
    journal.ForEachSliceAfter(sliceId,
                              [&](const kzjournal::Slice& slice) { news.slices.push_back(slice); });
    return news;
}

bool RunHistory::Add(const News& news) {
    for (const kzjournal::Slice& slice : news.slices) Add(slice);
    const bool isNew = !news.slices.empty() || news.hasEnded != m_hasEnded;
    m_hasEnded = news.hasEnded;
    m_lostSlices = news.lostSlices;
    m_notes = news.notes;
    return isNew;
}

std::size_t RunHistory::Buckets() const {
    std::size_t buckets = 0;
    for (const auto& [name, entry] : m_names) buckets = std::max(buckets, entry.course.Size());
    return buckets;
}

/// Names are read on all processors: the file of a day takes seconds.
void RunHistory::ReadCourses(const std::string& path, const kzjournal::TimeRange& range) {
    std::vector<std::pair<const std::string, Entry>*> names;
    for (auto& each : m_names) names.push_back(&each);
    std::atomic<std::size_t> next{0};
    const auto readSome = [&] {
        kzjournal::Reader journal(path);
        for (std::size_t i = next++; i < names.size(); i = next++)
            ReadCourse(journal, names[i]->first, names[i]->second, range);
    };
    std::vector<std::future<void>> readers;
    for (unsigned i = 0; i < std::clamp(std::thread::hardware_concurrency(), 1U, kMaxReaders); ++i)
        readers.push_back(std::async(std::launch::async, readSome));
    for (std::future<void>& reader : readers) reader.get();
}

void RunHistory::ReadCourse(kzjournal::Reader& journal, const std::string& name, Entry& entry,
                            const kzjournal::TimeRange& range) const {
    journal.ForEachPoint(name, range, [&](const kzjournal::SeriesPoint& point) {
        if (m_grid.Holds(point.elapsed))
            entry.course.Add(m_grid.BucketOf(point.elapsed),
                             {point.lasts, FlowOf(entry.latest.type, point.lasts)});
    });
}

void RunHistory::ReadLoad(kzjournal::Reader& journal, const kzjournal::TimeRange& range) {
    for (const auto& [elapsed, size] : LoadThroughTime(journal, range))
        if (m_grid.Holds(elapsed)) m_load.Add(m_grid.BucketOf(elapsed), {{}, size});
}

void RunHistory::Add(const kzjournal::Slice& slice) {
    m_lastSliceId = slice.id;
    m_elapsed = slice.elapsed;
    ++m_slices;
    const bool isDrawn = m_grid.Holds(m_elapsed);
    if (isDrawn) MakeRoomFor(m_elapsed);
    for (const CKZStatMessageRecord& record : slice.records) {
        Entry& entry = m_names[TextOf(record.name)];
        entry.latest = record;
        if (isDrawn)
            entry.course.Add(m_grid.BucketOf(m_elapsed),
                             {record.lasts, FlowOf(record.type, record.lasts)});
    }
    if (isDrawn) m_load.Add(m_grid.BucketOf(m_elapsed), {{}, LoadIn(slice)});
}

void RunHistory::MakeRoomFor(double elapsed) {
    for (int times = m_grid.WidenFor(elapsed); times > 0; --times) {
        m_load.Halve();
        for (auto& [name, entry] : m_names) entry.course.Halve();
    }
}

}  // namespace kzstatprogram
