#include "kzjournalreader.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <span>
#include <tuple>
#include <unordered_map>

#include "journalfile.h"
#include "readabledatabase.h"
#include "sliceloader.h"

namespace kzjournal {
namespace {

// Users give times as they are shown, to a thousandth.
constexpr double kTimeTolerance = 0.0015;

std::optional<double> OptionalAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    return value.isNull() ? std::nullopt : std::optional(value.getDouble());
}

constexpr char kRunColumns[] =
    "run_id, generator, start_time, slice_length, host, command_line, test_name, load_begin,"
    " load_end";

Run RunAt(SQLite::Statement& row) {
    return {
        row.getColumn(0).getString(), row.getColumn(1).getString(), row.getColumn(2).getDouble(),
        row.getColumn(3).getDouble(), row.getColumn(4).getString(), row.getColumn(5).getString(),
        row.getColumn(6).getString(), OptionalAt(row, 7),           OptionalAt(row, 8)};
}

std::vector<int> IdsOf(SQLite::Statement& query) {
    std::vector<int> ids;
    while (query.executeStep()) ids.push_back(query.getColumn(0).getInt());
    return ids;
}

// In these, ?1 is the number of the run, ?2 and ?3 bound the ends of the slices.
constexpr char kIdsInRange[] =
    "SELECT slice_id FROM slices WHERE run_number = ?1 AND elapsed BETWEEN ?2 AND ?3"
    " ORDER BY elapsed, slice_id";
constexpr char kLastIdInRange[] =
    "SELECT slice_id FROM slices WHERE run_number = ?1 AND elapsed BETWEEN ?2 AND ?3"
    " ORDER BY elapsed DESC, slice_id DESC LIMIT 1";
constexpr char kSlicesInRange[] =
    "SELECT count(*) FROM slices WHERE run_number = ?1 AND elapsed BETWEEN ?2 AND ?3";

// ?4 is the name. One statement for both tables: the writer moves records from one to the other.
// Recent records lie slice by slice, and so are found by the slices.
constexpr char kPointsInRange[] =
    "SELECT r.slice_id, r.elapsed, last_minimum, last_maximum, last_count, last_sum,"
    " last_sum_of_squares"
    " FROM chunks c CROSS JOIN records r ON r.run_number = ?1 AND r.chunk = c.chunk"
    " AND r.name_id = (SELECT name_id FROM names WHERE name = ?4)"
    " WHERE c.run_number = ?1 AND c.last_elapsed >= ?2 AND c.first_elapsed <= ?3"
    " AND r.elapsed BETWEEN ?2 AND ?3"
    " UNION ALL "
    "SELECT r.slice_id, r.elapsed, last_minimum, last_maximum, last_count, last_sum,"
    " last_sum_of_squares"
    " FROM slices s CROSS JOIN recent_records r ON r.run_number = ?1"
    " AND r.slice_id = s.slice_id AND r.name_id = (SELECT name_id FROM names WHERE name = ?4)"
    " WHERE s.run_number = ?1 AND r.elapsed BETWEEN ?2 AND ?3 AND s.slice_id BETWEEN"
    " (SELECT min(slice_id) FROM recent_records WHERE run_number = ?1) AND"
    " (SELECT max(slice_id) FROM recent_records WHERE run_number = ?1)";

constexpr char kRecordsInRange[] =
    "SELECT r.name_id, last_minimum, last_maximum, last_count, last_sum, last_sum_of_squares"
    " FROM chunks c CROSS JOIN records r ON r.run_number = ?1 AND r.chunk = c.chunk"
    " WHERE c.run_number = ?1 AND c.last_elapsed >= ?2 AND c.first_elapsed <= ?3"
    " AND r.elapsed BETWEEN ?2 AND ?3"
    " UNION ALL "
    "SELECT r.name_id, last_minimum, last_maximum, last_count, last_sum, last_sum_of_squares"
    " FROM recent_records r WHERE run_number = ?1 AND elapsed BETWEEN ?2 AND ?3";

}  // namespace

struct Reader::State {
    State(const std::string& journalPath, int source)
        : path(journalPath),
          run(source),
          file(journalPath),
          database(file.Get()),
          loader(database, path, run) {}

    template <class Action>
    auto Guarded(Action action) {
        return file.Read(action);
    }

    /// A log that is missing when the file is opened is made anew.
    bool HasLog() const {
        struct stat log = {};
        return stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    }
    SQLite::Statement QueryOfRange(const char* sql, const TimeRange& range);
    long long NumberOfTheRun(const char* column);
    std::vector<int> IdsIn(const TimeRange& range);
    std::vector<int> IdsAfter(int sliceId, int most);
    void VisitSlices(std::span<const int> ids, const std::function<void(const Slice&)>& visit);
    std::vector<SeriesPoint> PointsOf(const std::string& name, const TimeRange& range);
    std::unordered_map<std::string, CKZStatAggregate> SumsOf(const TimeRange& range);

    const std::string path;
    const int run;  // the number of the run that is read
    ReadableDatabase file;
    SQLite::Database& database;
    SliceLoader loader;
    Run facts;
};

/// A query whose ?1, ?2 and ?3 are the run and the first and the last moment at which a slice of
/// the range may end.
SQLite::Statement Reader::State::QueryOfRange(const char* sql, const TimeRange& range) {
    // A range from the start leaves out nothing, whatever a pause has made of the time.
    const double first = range.from <= 0 ? -std::numeric_limits<double>::infinity()
                                         : range.from + facts.sliceLength - kTimeTolerance;
    SQLite::Statement query(database, sql);
    SQLite::bind(query, run, first, range.to + kTimeTolerance);
    return query;
}

long long Reader::State::NumberOfTheRun(const char* column) {
    return Guarded([&] {
        SQLite::Statement query(database,
                                std::string("SELECT ") + column + " FROM runs WHERE number = ?");
        query.bind(1, run);
        return query.executeStep() ? static_cast<long long>(query.getColumn(0).getInt64()) : 0;
    });
}

std::vector<int> Reader::State::IdsIn(const TimeRange& range) {
    return Guarded([&] {
        SQLite::Statement query = QueryOfRange(kIdsInRange, range);
        return IdsOf(query);
    });
}

std::vector<int> Reader::State::IdsAfter(int sliceId, int most) {
    return Guarded([&] {
        SQLite::Statement query(database,
                                "SELECT slice_id FROM slices WHERE run_number = ?"
                                " AND slice_id > ? ORDER BY slice_id LIMIT ?");
        SQLite::bind(query, run, sliceId, most);
        return IdsOf(query);
    });
}

/// Holds nothing of the file while a slice is visited, however long that takes.
void Reader::State::VisitSlices(std::span<const int> ids,
                                const std::function<void(const Slice&)>& visit) {
    while (!ids.empty()) {
        const std::vector<Slice> slices = Guarded([&] { return loader.Load(ids); });
        for (const Slice& slice : slices) visit(slice);
        ids = ids.subspan(slices.size());
    }
}

std::vector<SeriesPoint> Reader::State::PointsOf(const std::string& name, const TimeRange& range) {
    return Guarded([&] {
        SQLite::Statement query = QueryOfRange(kPointsInRange, range);
        query.bind(4, name);
        std::vector<SeriesPoint> points;
        while (query.executeStep())
            points.push_back({query.getColumn(0).getInt(), query.getColumn(1).getDouble(),
                              AggregateAt(query, 2)});
        return points;
    });
}

/// Per name what the slices of the range add up to, added in the order of the slices.
std::unordered_map<std::string, CKZStatAggregate> Reader::State::SumsOf(const TimeRange& range) {
    return Guarded([&] {
        // The names belong to the same moment.
        const SQLite::Transaction view(database);
        std::unordered_map<std::int64_t, CKZStatAggregate> sums;
        SQLite::Statement query = QueryOfRange(kRecordsInRange, range);
        while (query.executeStep()) sums[query.getColumn(0).getInt64()].Add(AggregateAt(query, 1));
        std::unordered_map<std::string, CKZStatAggregate> byName;
        for (const auto& [id, sum] : sums)
            if (const RWCString* const name = loader.FindName(id))
                byName.emplace(std::string(name->view()), sum);
        return byName;
    });
}

Reader::Reader(const std::string& path, int source)
    : m_state(std::make_unique<State>(path, source)) {
    m_state->Guarded([&] {
        SQLite::Statement query(m_state->database, std::string("SELECT ") + kRunColumns +
                                                       " FROM runs WHERE number = ?");
        query.bind(1, source);
        if (!query.executeStep())
            throw Error("cannot read " + path + ": it holds no " +
                        (source == 0 ? "run" : "source " + std::to_string(source)));
        m_state->facts = RunAt(query);
    });
}

Reader::~Reader() = default;

const Run& Reader::Facts() const {
    return m_state->facts;
}

bool Reader::HasEnded() {
    return m_state->NumberOfTheRun("end_time IS NOT NULL") != 0;
}

long long Reader::LostSlices() {
    return m_state->NumberOfTheRun("lost_slices");
}

long long Reader::ExpectedSlices() {
    return m_state->NumberOfTheRun("expected_slices");
}

Completeness Reader::GetCompleteness() {
    return m_state->Guarded([&] {
        // One statement, hence one moment.
        SQLite::Statement query(m_state->database,
                                "SELECT end_time IS NOT NULL, expected_slices, lost_slices,"
                                " (SELECT count(*) FROM slices WHERE run_number = number)"
                                " FROM runs WHERE number = ?");
        query.bind(1, m_state->run);
        query.executeStep();
        const bool hasEnded = query.getColumn(0).getInt() != 0;
        const long long slices = query.getColumn(3).getInt64();
        const long long expected = std::max<long long>(query.getColumn(1).getInt64(),
                                                       slices + query.getColumn(2).getInt64());
        Completeness::State state = Completeness::NotEnded;
        if (hasEnded) state = expected > slices ? Completeness::Lacking : Completeness::Whole;
        const bool lacksLog = !hasEnded && !m_state->HasLog();
        return Completeness{state, slices, expected, lacksLog};
    });
}

std::vector<Source> Reader::Sources() {
    return m_state->Guarded([&] {
        SQLite::Statement query(m_state->database, std::string("SELECT ") + kRunColumns +
                                                       ", number, parent, is_merged FROM runs"
                                                       " WHERE number > ? ORDER BY number");
        query.bind(1, m_state->run);
        // A part has a higher number than the run that it is a part of.
        std::set<int> parts = {m_state->run};
        std::vector<Source> sources;
        while (query.executeStep()) {
            const int number = query.getColumn(9).getInt();
            const int parent = query.getColumn(10).getInt();
            if (parts.count(parent) == 0) continue;
            parts.insert(number);
            sources.push_back({number, parent, RunAt(query), query.getColumn(11).getInt() != 0});
        }
        return sources;
    });
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
    return m_state->Guarded([&] {
        SQLite::Statement query(
            m_state->database,
            "SELECT coalesce(max(slice_id), 0) FROM slices WHERE run_number = ?");
        query.bind(1, m_state->run);
        query.executeStep();
        return query.getColumn(0).getInt();
    });
}

long long Reader::CountSlices(const TimeRange& range) {
    return m_state->Guarded([&] {
        SQLite::Statement query = m_state->QueryOfRange(kSlicesInRange, range);
        query.executeStep();
        return static_cast<long long>(query.getColumn(0).getInt64());
    });
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
    return m_state->Guarded([&]() -> std::optional<Slice> {
        SQLite::Statement query = m_state->QueryOfRange(kLastIdInRange, range);
        const std::vector<int> id = IdsOf(query);
        if (id.empty()) return std::nullopt;
        return m_state->loader.Load(id).front();
    });
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

std::vector<CKZStatMessageRecord> Reader::Summary(const TimeRange& range) {
    std::optional<Slice> last = LastSlice(range);
    if (!last) return {};
    if (range.from <= 0) return std::move(last->records);
    auto sums = m_state->SumsOf(range);
    for (CKZStatMessageRecord& record : last->records)
        record.totals = sums[std::string(record.name.view())];
    return std::move(last->records);
}

}  // namespace kzjournal
