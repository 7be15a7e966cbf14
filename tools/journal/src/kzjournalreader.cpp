#include "kzjournalreader.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "journalfile.h"

namespace kzjournal {
namespace {

using Aggregate = CKZStatAggregate;

// Times in messages are rounded to a thousandth.
constexpr double kTimeTolerance = 0.0015;

SQLite::Database OpenExisting(const std::string& path) {
    try {
        // One thread at a time uses a reader: a lock per column would only slow it down.
        SQLite::Database database(path, SQLite::OPEN_READONLY | SQLite::OPEN_NOMUTEX,
                                  kLockWaitMilliseconds);
        CheckIsJournal(database, path);
        return database;
    } catch (const SQLite::Exception& error) {
        throw Error(ExplainReading(path, error));
    }
}

double DoubleAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    // The database keeps no NaN: it makes NULL of it.
    return value.isNull() ? std::nan("") : value.getDouble();
}

/// Minimum, maximum, count, sum and sum of squares, from `column` on.
Aggregate AggregateAt(SQLite::Statement& row, int column) {
    Aggregate aggregate;
    aggregate.count = row.getColumn(column + 2).getDouble();
    aggregate.sum = DoubleAt(row, column + 3);
    aggregate.sumSqr = DoubleAt(row, column + 4);
    if (!(aggregate.count > 0)) return aggregate;
    aggregate.minimum = DoubleAt(row, column);
    aggregate.maximum = DoubleAt(row, column + 1);
    return aggregate;
}

Run RunAt(SQLite::Statement& row) {
    return {row.getColumn(0).getString(), row.getColumn(1).getString(),
            row.getColumn(2).getDouble(), row.getColumn(3).getDouble(),
            row.getColumn(4).getString(), row.getColumn(5).getString()};
}

constexpr char kRunColumns[] = "run_id, generator, start_time, slice_length, host, command_line";

// Recent slices are later than all others.
constexpr const char* kRecordTables[] = {"records", "recent_records"};

}  // namespace

Error::~Error() = default;

struct Reader::State {
    explicit State(const std::string& journalPath)
        : path(journalPath), database(OpenExisting(journalPath)) {}

    /// Runs the action, and tells what went wrong in words of the user.
    template <class Action>
    auto Guarded(Action action) {
        try {
            return action();
        } catch (const SQLite::Exception& error) {
            throw Error(Explain("read", path, error));
        }
    }

    void BindRange(SQLite::Statement& query, int column, const TimeRange& range) const;
    CKZStatMessage MessageAt(SQLite::Statement& row);
    void VisitPoints(const char* table, const std::string& name, const TimeRange& range,
                     const std::function<void(const SeriesPoint&)>& visit);
    std::unordered_map<std::string, Aggregate> SumsOf(const TimeRange& range);
    void AddSums(const char* table, const TimeRange& range,
                 std::unordered_map<std::string, Aggregate>& sums);

    const std::string path;
    SQLite::Database database;
    Run facts;
};

/// Binds the first and the last moment at which a slice of the range may end.
void Reader::State::BindRange(SQLite::Statement& query, int column, const TimeRange& range) const {
    query.bind(column, range.from + facts.sliceLength - kTimeTolerance);
    query.bind(column + 1, range.to + kTimeTolerance);
}

/// Of a row that begins with the slice id and the message.
CKZStatMessage Reader::State::MessageAt(SQLite::Statement& row) {
    const SQLite::Column text = row.getColumn(1);
    CKZStatMessage message;
    std::size_t fault = 0;
    if (!message.Read(static_cast<const char*>(text.getBlob()),
                      static_cast<std::size_t>(text.getBytes()), CKZStatMessage::FullRecords,
                      fault))
        throw Error("cannot read " + path + ": the message of slice " +
                    row.getColumn(0).getString() + " is damaged at byte " + std::to_string(fault));
    return message;
}

void Reader::State::VisitPoints(const char* table, const std::string& name, const TimeRange& range,
                                const std::function<void(const SeriesPoint&)>& visit) {
    SQLite::Statement query(
        database, std::string("SELECT slice_id, elapsed, last_minimum, last_maximum, last_count,"
                              " last_sum, last_sum_of_squares, minimum, maximum, count, sum,"
                              " sum_of_squares FROM ") +
                      table +
                      " WHERE name_id = (SELECT name_id FROM names WHERE name = ?)"
                      " AND elapsed BETWEEN ? AND ? ORDER BY elapsed, slice_id");
    query.bind(1, name);
    BindRange(query, 2, range);
    while (query.executeStep())
        visit({query.getColumn(0).getInt(), query.getColumn(1).getDouble(), AggregateAt(query, 2)});
}

/// Per name what the slices of the range add up to.
std::unordered_map<std::string, Aggregate> Reader::State::SumsOf(const TimeRange& range) {
    // One view of both tables, as in `ForEachPoint`.
    const SQLite::Transaction view(database);
    std::unordered_map<std::string, Aggregate> sums;
    for (const char* const table : kRecordTables) AddSums(table, range, sums);
    return sums;
}

void Reader::State::AddSums(const char* table, const TimeRange& range,
                            std::unordered_map<std::string, Aggregate>& sums) {
    // Name by name, which is the order of the records: nothing needs sorting.
    SQLite::Statement query(
        database, std::string("SELECT name, min(last_minimum), max(last_maximum), sum(last_count),"
                              " sum(last_sum), sum(last_sum_of_squares) FROM names n CROSS JOIN ") +
                      table +
                      " r ON r.name_id = n.name_id AND r.elapsed BETWEEN ? AND ?"
                      " WHERE last_count > 0 GROUP BY n.name_id");
    BindRange(query, 1, range);
    while (query.executeStep()) sums[query.getColumn(0).getString()].Add(AggregateAt(query, 1));
}

Reader::Reader(const std::string& path) : m_state(std::make_unique<State>(path)) {
    m_state->Guarded([&] {
        SQLite::Statement query(m_state->database,
                                std::string("SELECT ") + kRunColumns + " FROM run");
        if (!query.executeStep()) throw Error("cannot read " + path + ": it holds no run");
        m_state->facts = RunAt(query);
    });
}

Reader::~Reader() = default;

const Run& Reader::Facts() const {
    return m_state->facts;
}

bool Reader::HasEnded() {
    return m_state->Guarded([&] {
        return m_state->database.execAndGet("SELECT end_time IS NOT NULL FROM run").getInt() != 0;
    });
}

long long Reader::LostSlices() {
    return m_state->Guarded(
        [&] { return m_state->database.execAndGet("SELECT lost_slices FROM run").getInt64(); });
}

std::vector<Run> Reader::Sources() {
    return m_state->Guarded([&] {
        SQLite::Statement query(m_state->database, std::string("SELECT ") + kRunColumns +
                                                       " FROM sources ORDER BY source_id");
        std::vector<Run> sources;
        while (query.executeStep()) sources.push_back(RunAt(query));
        return sources;
    });
}

std::vector<int> Reader::SourcesOfSlice(int sliceId) {
    return m_state->Guarded([&] {
        SQLite::Statement query(
            m_state->database,
            "SELECT source_id FROM slice_sources WHERE slice_id = ? ORDER BY source_id");
        query.bind(1, sliceId);
        std::vector<int> sources;
        while (query.executeStep()) sources.push_back(query.getColumn(0).getInt());
        return sources;
    });
}

int Reader::LastSliceId() {
    return m_state->Guarded([&] {
        return m_state->database.execAndGet("SELECT coalesce(max(slice_id), 0) FROM slices")
            .getInt();
    });
}

long long Reader::CountSlices(const TimeRange& range) {
    return m_state->Guarded([&] {
        SQLite::Statement query(m_state->database,
                                "SELECT count(*) FROM slices WHERE elapsed BETWEEN ? AND ?");
        m_state->BindRange(query, 1, range);
        query.executeStep();
        return static_cast<long long>(query.getColumn(0).getInt64());
    });
}

std::vector<Name> Reader::Names() {
    const std::optional<CKZStatMessage> last = LastSlice();
    std::vector<Name> names;
    if (!last) return names;
    // Totals never forget a name, so that the last slice has them all.
    for (const CKZStatMessageRecord& record : last->GetRecords())
        names.push_back({{record.name.data(), record.name.length()}, record.type});
    std::sort(names.begin(), names.end(),
              [](const Name& a, const Name& b) { return a.name < b.name; });
    return names;
}

std::optional<CKZStatMessage> Reader::LastSlice(const TimeRange& range) {
    return m_state->Guarded([&]() -> std::optional<CKZStatMessage> {
        SQLite::Statement query(m_state->database,
                                "SELECT slice_id, message FROM slices WHERE elapsed BETWEEN ?"
                                " AND ? ORDER BY elapsed DESC, slice_id DESC LIMIT 1");
        m_state->BindRange(query, 1, range);
        if (!query.executeStep()) return std::nullopt;
        return m_state->MessageAt(query);
    });
}

void Reader::ForEachSlice(const TimeRange& range,
                          const std::function<void(const CKZStatMessage&)>& visit) {
    m_state->Guarded([&] {
        SQLite::Statement query(m_state->database,
                                "SELECT slice_id, message FROM slices WHERE elapsed BETWEEN ?"
                                " AND ? ORDER BY elapsed, slice_id");
        m_state->BindRange(query, 1, range);
        while (query.executeStep()) visit(m_state->MessageAt(query));
    });
}

void Reader::ForEachSliceAfter(int sliceId, const std::function<void(const CKZStatMessage&)>& visit,
                               int most) {
    m_state->Guarded([&] {
        SQLite::Statement query(
            m_state->database,
            "SELECT slice_id, message FROM slices WHERE slice_id > ? ORDER BY slice_id LIMIT ?");
        query.bind(1, sliceId);
        query.bind(2, most);
        while (query.executeStep()) visit(m_state->MessageAt(query));
    });
}

void Reader::ForEachPoint(const std::string& name, const TimeRange& range,
                          const std::function<void(const SeriesPoint&)>& visit) {
    m_state->Guarded([&] {
        // One view of both tables: the writer moves records from one to the other.
        const SQLite::Transaction view(m_state->database);
        for (const char* const table : kRecordTables)
            m_state->VisitPoints(table, name, range, visit);
    });
}

std::vector<CKZStatMessageRecord> Reader::Summary(const TimeRange& range) {
    const std::optional<CKZStatMessage> last = LastSlice(range);
    if (!last) return {};
    std::vector<CKZStatMessageRecord> records = last->GetRecords();
    if (range.from <= 0) return records;
    auto sums = m_state->Guarded([&] { return m_state->SumsOf(range); });
    for (CKZStatMessageRecord& record : records)
        record.totals = sums[{record.name.data(), record.name.length()}];
    return records;
}

}  // namespace kzjournal
