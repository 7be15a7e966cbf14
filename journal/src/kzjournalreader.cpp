#include "kzjournalreader.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <limits>
#include <set>
#include <span>
#include <string_view>
#include <tuple>
#include <unordered_map>

#include "journalfile.h"
#include "kzstatdistributionsum.h"
#include "namechecksum.h"
#include "readerstate.h"
#include "runrow.h"
#include "slicecosts.h"
#include "writerlock.h"

namespace kzjournal {
namespace {

// Users give times as they are shown, to a thousandth.
constexpr double kTimeTolerance = 0.0015;

std::vector<int> IdsOf(SQLite::Statement& query) {
    std::vector<int> ids;
    while (query.executeStep()) ids.push_back(query.getColumn(0).getInt());
    return ids;
}

/// The records of a name in a chunk.
constexpr char kPointsInChunk[] =
    "SELECT slice_id, elapsed, last_minimum, last_maximum, last_count, last_sum,"
    " last_sum_of_squares FROM records WHERE run_number = ? AND chunk = ? AND name_id = ?"
    " ORDER BY slice_id";

long long OneGroup(double) {
    return 0;
}

constexpr char kNameInChunk[] =
    "SELECT records, checksum FROM name_chunks"
    " WHERE run_number = ? AND chunk = ? AND name_id = ?";

/// Replaces the totals of records by those of a range, to which its slices are added in their
/// order. Compatible.
class TotalsOfRange {
public:
    /// `records` must outlive this.
    explicit TotalsOfRange(std::vector<CKZStatMessageRecord>& records) {
        for (CKZStatMessageRecord& record : records) {
            record.totals = {};
            m_totals.emplace(record.name.view(), &record.totals);
        }
    }

    void Add(const Slice& slice) {
        for (const CKZStatMessageRecord& record : slice.records)
            if (const auto totals = m_totals.find(record.name.view()); totals != m_totals.end())
                totals->second->Add(record.lasts);
    }

private:
    std::unordered_map<std::string_view, CKZStatAggregate*> m_totals;
};

bool HasDistributions(const Slice& slice) {
    for (std::size_t i = 0; i < slice.records.size(); ++i)
        if (!slice.distributions.FormOf(i).empty()) return true;
    return false;
}

std::vector<NameSummary> WithoutDistributions(std::vector<CKZStatMessageRecord>&& records) {
    std::vector<NameSummary> summary;
    summary.reserve(records.size());
    for (CKZStatMessageRecord& record : records)
        summary.push_back({std::move(record), std::nullopt});
    return summary;
}

/// Adds up the distributions of names. Compatible.
class DistributionSums {
public:
    /// Adds a slice or a sum. Throws `Error` where a distribution is damaged.
    void Add(const Slice& slice) {
        for (std::size_t i = 0; i < slice.records.size(); ++i) {
            CKZStatDistributionSum& sum = m_sums[std::string(slice.records[i].name.view())];
            slice.AddDistributionTo(sum, i);
        }
    }

    /// The sum for the name of `record`, whose totals are of the same slices; no value unless it is
    /// complete.
    std::optional<CKZStatDistribution> Find(const CKZStatMessageRecord& record) const {
        const auto found = m_sums.find(std::string(record.name.view()));
        const CKZStatDistribution* const sum =
            found == m_sums.end() ? nullptr : found->second.Get();
        if (sum == nullptr || static_cast<double>(sum->GetCount()) != record.totals.count)
            return std::nullopt;
        return *sum;
    }

private:
    std::unordered_map<std::string, CKZStatDistributionSum> m_sums;
};

}  // namespace

std::vector<Timeline::Entry> Reader::State::EntriesIn(const TimeRange& range) {
    Guarded([&] { timeline.Update(); });
    return Select(range);
}

std::vector<Timeline::Entry> Reader::State::Select(const TimeRange& range) const {
    // A range from the start leaves out nothing, whatever a pause has made of the time.
    const double first = range.from <= 0 ? -std::numeric_limits<double>::infinity()
                                         : range.from + facts.sliceLength - kTimeTolerance;
    const auto endsBefore = [](const Timeline::Entry& entry, double moment) {
        return entry.elapsed < moment;
    };
    const auto endsAfter = [](double moment, const Timeline::Entry& entry) {
        return moment < entry.elapsed;
    };
    const std::vector<Timeline::Entry>& all = timeline.Entries();
    const auto begin = std::lower_bound(all.begin(), all.end(), first, endsBefore);
    const auto end = std::upper_bound(all.begin(), all.end(), range.to + kTimeTolerance, endsAfter);
    return begin < end ? std::vector(begin, end) : std::vector<Timeline::Entry>();
}

/// The row of the run, at this moment.
RunRow Reader::State::Row() {
    return RowOf(run);
}

RunRow Reader::State::RowOf(int number) {
    return Guarded([&] { return ReadRunRow(database, path, version, number); });
}

/// Those of the run and of its sources, as far as they have slices, each with the number of its
/// run.
std::vector<std::pair<int, Annotations>> Reader::State::AllAnnotations(
    const std::vector<Source>& sources) {
    std::vector<int> runs = {run};
    for (const Source& source : sources)
        if (!source.isMerged) runs.push_back(source.number);
    return Guarded([&] {
        // One view of a run's row and of what the row has the checksum of.
        const SQLite::Transaction view(database);
        std::vector<std::pair<int, Annotations>> all;
        all.reserve(runs.size());
        for (const int each : runs)
            all.emplace_back(each, ReadAnnotations(database, path, RowOf(each), version));
        return all;
    });
}

std::vector<int> Reader::State::IdsIn(const TimeRange& range) {
    std::vector<int> ids;
    for (const Timeline::Entry& entry : EntriesIn(range)) ids.push_back(entry.id);
    return ids;
}

std::vector<int> Reader::State::IdsAfter(int sliceId, int most) {
    Guarded([&] { timeline.Update(); });
    const std::vector<int>& ids = timeline.Ids();
    const auto begin = std::upper_bound(ids.begin(), ids.end(), sliceId);
    return {begin, begin + std::min<std::ptrdiff_t>(most, ids.end() - begin)};
}

void Reader::State::VisitSlices(std::span<const int> ids,
                                const std::function<void(Slice&)>& visit) {
    file.AllowSteps();
    VisitMoreSlices(ids, visit);
}

/// With the steps that are left. Holds nothing of the file while a slice is visited, however long
/// that takes.
void Reader::State::VisitMoreSlices(std::span<const int> ids,
                                    const std::function<void(Slice&)>& visit) {
    while (!ids.empty()) {
        std::vector<Slice> slices = file.ReadOn([&] { return loader.Load(ids); });
        for (Slice& slice : slices) visit(slice);
        ids = ids.subspan(slices.size());
    }
}

/// How many records of each name the closed chunk has. All of its slices are verified then.
const RecordCounts& Reader::State::CountsOf(int chunk) {
    const auto known = verifiedChunks.find(chunk);
    if (known != verifiedChunks.end()) return known->second;
    std::vector<int> ids;
    for (const Timeline::Entry& entry : timeline.Entries())
        if (entry.chunk == chunk) ids.push_back(entry.id);
    return verifiedChunks.emplace(chunk, Guarded([&] { return loader.Verify(chunk, ids); }))
        .first->second;
}

std::vector<SeriesPoint> Reader::State::PointsOf(const std::string& name, const TimeRange& range) {
    std::vector<Timeline::Entry> entries = EntriesIn(range);
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.chunk < b.chunk; });
    std::vector<SeriesPoint> points;
    for (auto begin = entries.begin(); begin != entries.end();) {
        const auto end = std::find_if(begin, entries.end(), [&](const Timeline::Entry& entry) {
            return entry.chunk != begin->chunk;
        });
        const std::span<const Timeline::Entry> ofChunk(begin, end);
        if (Guarded([&] { return loader.IsClosed(begin->chunk); }))
            AddPointsOfChunk(name, ofChunk, points);
        else
            AddRecentPoints(name, ofChunk, points);
        begin = end;
    }
    return points;
}

/// A name without a checksum has no record in the chunk, or damage leads elsewhere: only its slices
/// as a whole tell.
NameInChunk Reader::State::FindInChunk(int chunk, std::int64_t nameId) {
    if (loader.HasBlocks()) {
        const std::optional<NameInChunk> found = Guarded([&]() -> std::optional<NameInChunk> {
            SQLite::Statement query(database, kNameInChunk);
            SQLite::bind(query, run, chunk, static_cast<int64_t>(nameId));
            if (!query.executeStep()) return std::nullopt;
            return NameInChunk{query.getColumn(0).getInt(), query.getColumn(1).getInt64()};
        });
        if (found) return *found;
    }
    const RecordCounts& counts = CountsOf(chunk);
    const auto counted = std::lower_bound(
        counts.begin(), counts.end(), nameId,
        [](const auto& count, std::int64_t wanted) { return count.first < wanted; });
    const bool isThere = counted != counts.end() && counted->first == nameId;
    return {isThere ? counted->second : 0, std::nullopt};
}

/// Reads nothing of other names where this one has a checksum or the chunk is verified. A name that
/// is not found where it was counted is lost by damage to the way there.
void Reader::State::AddPointsOfChunk(const std::string& name,
                                     std::span<const Timeline::Entry> entries,
                                     std::vector<SeriesPoint>& points) {
    const int chunk = entries.front().chunk;
    const std::optional<std::int64_t> nameId = Guarded([&] { return loader.FindId(name); });
    if (!nameId) {
        CountsOf(chunk);
        return;
    }
    const NameInChunk expected = FindInChunk(chunk, *nameId);
    int missing = expected.records;
    NameChecksum checksum(name);
    Guarded([&] {
        SQLite::Statement query(database, kPointsInChunk);
        SQLite::bind(query, run, chunk, static_cast<int64_t>(*nameId));
        for (; query.executeStep(); --missing) {
            const SeriesPoint point{query.getColumn(0).getInt(), query.getColumn(1).getDouble(),
                                    AggregateAt(query, 2)};
            checksum.Add(point.sliceId, point.elapsed, point.lasts);
            if (point.elapsed >= entries.front().elapsed && point.elapsed <= entries.back().elapsed)
                points.push_back(point);
        }
    });
    const bool isSame = !expected.checksum || *expected.checksum == checksum.Value();
    if (missing != 0 || !isSame) loader.ThrowDamaged(entries.front().id);
}

void Reader::State::AddRecentPoints(const std::string& name,
                                    std::span<const Timeline::Entry> entries,
                                    std::vector<SeriesPoint>& points) {
    std::vector<int> ids;
    for (const Timeline::Entry& entry : entries) ids.push_back(entry.id);
    VisitSlices(ids, [&](const Slice& slice) {
        for (const CKZStatMessageRecord& record : slice.records)
            if (record.name.view() == name)
                points.push_back({slice.id, slice.elapsed, record.lasts});
    });
}

/// Passes over slices that came after the entries were read.
std::vector<SliceCost> Reader::State::CostsOf(std::span<const Timeline::Entry> entries) {
    std::vector<SliceCost> costs;
    if (!loader.HasBlocks() || entries.empty()) return costs;
    SQLite::Statement query(database, std::string("SELECT slice_id, ") + kSelectCost +
                                          " FROM slices WHERE run_number = ?"
                                          " AND elapsed BETWEEN ? AND ?"
                                          " ORDER BY elapsed, slice_id");
    SQLite::bind(query, run, entries.front().elapsed, entries.back().elapsed);
    auto next = entries.begin();
    while (next != entries.end() && query.executeStep()) {
        if (IdAt(query, 0) != next->id) continue;
        std::optional<CKZStatSliceCost> cost;
        if (!ReadCost(query, 1, next->id, cost)) loader.ThrowDamaged(next->id);
        if (cost) costs.push_back({next->id, next->elapsed, *cost});
        ++next;
    }
    if (next != entries.end()) loader.ThrowDamaged(next->id);
    return costs;
}

Reader::Reader(const std::string& path, int source)
    : m_state(std::make_unique<State>(path, source)) {
    m_state->facts = m_state->Row().run;
}

Reader::~Reader() = default;

void Reader::StopWhen(std::function<bool()> isRequested) {
    m_state->file.Steps().SetStopRequest(std::move(isRequested));
}

const Run& Reader::Facts() const {
    return m_state->facts;
}

LoadSpan Reader::Load() {
    const Run run = m_state->Row().run;
    return {run.loadBegin, run.loadEnd};
}

bool Reader::HasEnded() {
    return m_state->Row().endTime.has_value();
}

bool Reader::IsAbandoned() {
    const bool isOfThisHost = m_state->facts.host == RunOfThisProcess("", 0, 0).host;
    const int version = m_state->Guarded([&] { return SchemaVersionOf(m_state->database); });
    if (!isOfThisHost || version < kWriterLockSchemaVersion) return false;
    // In this order: the end of a run is in the file before its writer is gone.
    return WriterLock::IsFree(m_state->path) && !HasEnded();
}

long long Reader::LostSlices() {
    return m_state->Row().lostSlices;
}

long long Reader::ExpectedSlices() {
    return m_state->Row().expectedSlices;
}

Completeness Reader::GetCompleteness() {
    return m_state->Guarded([&] {
        // Before the slices are counted, so that none follows an end.
        const RunRow row = m_state->Row();
        m_state->timeline.Update();
        const auto slices = static_cast<long long>(m_state->timeline.Ids().size());
        const long long expected = std::max(row.expectedSlices, slices + row.lostSlices);
        Completeness::State state = Completeness::NotEnded;
        if (row.endTime) state = expected > slices ? Completeness::Lacking : Completeness::Whole;
        const bool lacksLog = !row.endTime && !m_state->HasLog();
        return Completeness{state, slices, expected, lacksLog};
    });
}

std::vector<Source> Reader::Sources() {
    return m_state->Guarded([&] {
        SQLite::Statement query(m_state->database, SelectRunRow(m_state->version) +
                                                       " WHERE number > ? ORDER BY number");
        query.bind(1, m_state->run);
        // A part has a higher number than the run that it is a part of.
        std::set<int> parts = {m_state->run};
        std::vector<Source> sources;
        while (query.executeStep()) {
            const RunRow row = ReadRunRow(query, m_state->path);
            if (parts.count(row.parent) == 0) continue;
            if (!parts.insert(row.number).second)
                throw Error("cannot read " + m_state->path + ": its runs are damaged");
            sources.push_back({row.number, row.parent, row.run, row.isMerged});
        }
        return sources;
    });
}

std::vector<Note> Reader::Notes() {
    std::vector<Note> notes;
    for (auto& [run, annotations] : m_state->AllAnnotations(Sources()))
        for (Note& note : annotations.notes) {
            note.source = run == m_state->run ? 0 : run;
            notes.push_back(std::move(note));
        }
    std::stable_sort(notes.begin(), notes.end(),
                     [](const Note& a, const Note& b) { return a.time < b.time; });
    return notes;
}

std::vector<std::string> Reader::Conditions() {
    std::vector<std::string> conditions;
    for (auto& [run, annotations] : m_state->AllAnnotations(Sources()))
        for (std::string& text : annotations.conditions)
            if (std::find(conditions.begin(), conditions.end(), text) == conditions.end())
                conditions.push_back(std::move(text));
    return conditions;
}

std::vector<int> Reader::SourcesOfSlice(int sliceId) {
    // Only of the run of the file it is known what each slice was made of.
    if (m_state->run != 0) return {};
    return m_state->Guarded([&] {
        SQLite::Statement query(
            m_state->database,
            "SELECT run_number FROM slice_sources WHERE slice_id = ? ORDER BY run_number");
        query.bind(1, sliceId);
        return IdsOf(query);
    });
}

int Reader::LastSliceId() {
    m_state->Guarded([&] { m_state->timeline.Update(); });
    const std::vector<int>& ids = m_state->timeline.Ids();
    return ids.empty() ? 0 : ids.back();
}

long long Reader::CountSlices(const TimeRange& range) {
    return static_cast<long long>(m_state->EntriesIn(range).size());
}

std::vector<double> Reader::SliceEnds(const TimeRange& range) {
    std::vector<double> ends;
    for (const Timeline::Entry& entry : m_state->EntriesIn(range)) ends.push_back(entry.elapsed);
    return ends;
}

std::vector<Name> Reader::Names() {
    const std::optional<Slice> last = LastSlice();
    std::vector<Name> names;
    if (!last) return names;
    // Totals never forget a name, so that the last slice has them all.
    for (const CKZStatMessageRecord& record : last->records)
        names.push_back({std::string(record.name.view()), record.type});
    std::sort(names.begin(), names.end(),
              [](const Name& a, const Name& b) { return a.name < b.name; });
    return names;
}

std::optional<Slice> Reader::LastSlice(const TimeRange& range) {
    const std::vector<Timeline::Entry> entries = m_state->EntriesIn(range);
    if (entries.empty()) return std::nullopt;
    const std::vector<int> id = {entries.back().id};
    return m_state->Guarded([&] { return m_state->loader.Load(id).front(); });
}

void Reader::ForEachSlice(const TimeRange& range, const std::function<void(const Slice&)>& visit) {
    m_state->VisitSlices(m_state->IdsIn(range), visit);
}

void Reader::ForEachSliceAfter(int sliceId, const std::function<void(const Slice&)>& visit,
                               int most) {
    m_state->VisitSlices(m_state->IdsAfter(sliceId, most), visit);
}

void Reader::ForEachPoint(const std::string& name, const TimeRange& range,
                          const std::function<void(const SeriesPoint&)>& visit) {
    std::vector<SeriesPoint> points = m_state->PointsOf(name, range);
    // They come in the order of the slices, which is that of time unless a pause has set it back.
    const auto isEarlier = [](const SeriesPoint& a, const SeriesPoint& b) {
        return std::tie(a.elapsed, a.sliceId) < std::tie(b.elapsed, b.sliceId);
    };
    if (!std::is_sorted(points.begin(), points.end(), isEarlier))
        std::sort(points.begin(), points.end(), isEarlier);
    for (const SeriesPoint& point : points) visit(point);
}

void Reader::ForEachCost(const TimeRange& range,
                         const std::function<void(const SliceCost&)>& visit) {
    const std::vector<Timeline::Entry> entries = m_state->EntriesIn(range);
    for (const SliceCost& cost : m_state->Guarded([&] { return m_state->CostsOf(entries); }))
        visit(cost);
}

void Reader::ForEachSum(const TimeRange& range, const std::function<long long(double)>& groupOf,
                        const std::function<void(const Slice& sum)>& visit) {
    m_state->UpdateSums();
    m_state->VisitSums(m_state->PiecesOf(m_state->Select(range), groupOf), visit);
}

void Reader::CheckSums() {
    m_state->UpdateSums();
    const std::vector<Timeline::Entry> entries = m_state->Select({});
    for (int level = 1; level <= kSumLevels; ++level) m_state->CheckSums(level, entries);
}

std::vector<CKZStatMessageRecord> Reader::Summary(const TimeRange& range) {
    std::optional<Slice> last = LastSlice(range);
    if (!last) return {};
    if (range.from <= 0) return std::move(last->records);
    TotalsOfRange totals(last->records);
    ForEachSum({range.from, last->elapsed}, OneGroup, [&](const Slice& sum) { totals.Add(sum); });
    return std::move(last->records);
}

std::vector<NameSummary> Reader::SummaryWithDistributions(const TimeRange& range) {
    std::optional<Slice> last = LastSlice(range);
    if (!last) return {};
    if (!HasDistributions(*last)) return WithoutDistributions(Summary(range));
    std::optional<TotalsOfRange> totals;
    if (range.from > 0) totals.emplace(last->records);
    DistributionSums sums;
    ForEachSum({range.from, last->elapsed}, OneGroup, [&](const Slice& sum) {
        if (totals) totals->Add(sum);
        m_state->Explained([&] { sums.Add(sum); });
    });
    std::vector<NameSummary> summary;
    for (CKZStatMessageRecord& record : last->records) {
        std::optional<CKZStatDistribution> distribution = sums.Find(record);
        summary.push_back({std::move(record), std::move(distribution)});
    }
    return summary;
}

}  // namespace kzjournal
