#include "slicestore.h"

#include <SQLiteCpp/VariadicBind.h>
#include <sqlite3.h>

#include <utility>

#include "journalfile.h"
#include "kzjournalreader.h"
#include "ryp/truncate.h"

namespace kzjournal {
namespace {

/// Moved together, so that a page of `records` is written once for many slices.
constexpr int kRecentSlices = 256;
constexpr int kWalPagesWorthACheckpoint = 1000;

constexpr char kInsertSlice[] = "INSERT INTO slices VALUES (?, ?, ?) ON CONFLICT DO NOTHING";
constexpr char kInsertRecord[] =
    "INSERT INTO recent_records VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
    " ON CONFLICT DO NOTHING";

SQLite::Database OpenNew(const std::string& path) {
    try {
        SQLite::Database database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                                  kLockWaitMilliseconds);
        CreateTables(database, path);
        return database;
    } catch (const SQLite::Exception& error) {
        throw Error(ExplainMaking(path, error));
    }
}

/// Keeps the length of the write-ahead log, in pages, where `pages` points to.
int NoteWalPages(void* pages, sqlite3*, const char*, int count) {
    *static_cast<int*>(pages) = count;
    return SQLITE_OK;
}

void BindAggregate(SQLite::Statement& statement, int column, const CKZStatAggregate& aggregate) {
    statement.bind(column, aggregate.minimum);
    statement.bind(column + 1, aggregate.maximum);
    statement.bind(column + 2, RyPTruncate<int64_t>(aggregate.count));
    statement.bind(column + 3, aggregate.sum);
    statement.bind(column + 4, aggregate.sumSqr);
}

}  // namespace

SliceStore::SliceStore(const std::string& path, const Run& run, Safety safety)
    : m_path(path),
      m_generator(run.generator),
      m_database(OpenNew(path)),
      m_insertSlice(m_database, kInsertSlice),
      m_insertRecord(m_database, kInsertRecord) {
    Guarded([&] {
        if (safety == SafeAtTheEnd) m_database.exec("PRAGMA synchronous = OFF");
        InsertRun(run);
    });
    // Emptied by `Tidy` instead, when nobody waits.
    sqlite3_wal_hook(m_database.getHandle(), NoteWalPages, &m_walPages);
}

/// Runs the action, and tells what went wrong in words of the user.
template <class Action>
void SliceStore::Guarded(Action action) {
    try {
        action();
    } catch (const SQLite::Exception& error) {
        // A rolled back slice takes the names that it brought with it.
        m_nameIds.clear();
        throw Error(Explain("write", m_path, error));
    }
}

void SliceStore::SetSources(const std::vector<Run>& sources) {
    Guarded([&] {
        SQLite::Statement insert(m_database, "INSERT INTO sources VALUES (?, ?, ?, ?, ?, ?, ?)");
        int number = 0;
        for (const Run& source : sources) {
            insert.reset();
            SQLite::bind(insert, number++, source.id, source.generator, source.startTime,
                         source.sliceLength, source.host, source.commandLine);
            insert.exec();
        }
    });
}

void SliceStore::InsertRun(const Run& run) {
    SQLite::Statement insert(m_database,
                             "INSERT INTO run (run_id, generator, start_time, slice_length, host,"
                             " command_line) VALUES (?, ?, ?, ?, ?, ?)");
    SQLite::bind(insert, run.id, run.generator, run.startTime, run.sliceLength, run.host,
                 run.commandLine);
    insert.exec();
}

bool SliceStore::Write(std::string_view text, const std::vector<int>& sources,
                       std::string& complaint) {
    CKZStatMessage message;
    std::size_t fault = 0;
    if (!message.Read(text.data(), text.size(), CKZStatMessage::FullRecords, fault)) {
        complaint = "cannot keep a slice in " + m_path + ": its message is damaged at byte " +
                    std::to_string(fault);
        return false;
    }
    if (message.GetGeneratorName() != m_generator.c_str()) {
        complaint = "cannot keep a slice of the generator " +
                    std::string(message.GetGeneratorName().data()) + " in " + m_path +
                    ": it holds a run of " + m_generator;
        return false;
    }
    Guarded([&] { WriteWhole(message, text, sources); });
    return true;
}

void SliceStore::WriteWhole(const CKZStatMessage& message, std::string_view text,
                            const std::vector<int>& sources) {
    SQLite::Transaction transaction(m_database, SQLite::TransactionBehavior::IMMEDIATE);
    if (!InsertSlice(message, text)) return;
    for (const CKZStatMessageRecord& record : message.GetRecords()) InsertRecord(message, record);
    for (const int source : sources) InsertSource(message.GetSliceId(), source);
    transaction.commit();
    ++m_recentSlices;
}

bool SliceStore::InsertSlice(const CKZStatMessage& message, std::string_view text) {
    m_insertSlice.reset();
    m_insertSlice.bind(1, message.GetSliceId());
    m_insertSlice.bind(2, message.GetElapsed());
    m_insertSlice.bindNoCopy(3, text.data(), static_cast<int>(text.size()));
    return m_insertSlice.exec() > 0;
}

void SliceStore::InsertSource(int sliceId, int source) {
    SQLite::Statement insert(m_database, "INSERT INTO slice_sources VALUES (?, ?)");
    SQLite::bind(insert, sliceId, source);
    insert.exec();
}

void SliceStore::InsertRecord(const CKZStatMessage& message, const CKZStatMessageRecord& record) {
    m_insertRecord.reset();
    m_insertRecord.bind(1, NameId({record.name.data(), record.name.length()}));
    m_insertRecord.bind(2, message.GetElapsed());
    m_insertRecord.bind(3, message.GetSliceId());
    m_insertRecord.bind(4, static_cast<int>(record.type));
    BindAggregate(m_insertRecord, 5, record.lasts);
    BindAggregate(m_insertRecord, 10, record.totals);
    m_insertRecord.exec();
}

int64_t SliceStore::NameId(const std::string& name) {
    const auto known = m_nameIds.find(name);
    if (known != m_nameIds.end()) return known->second;

    SQLite::Statement insert(m_database,
                             "INSERT INTO names (name) VALUES (?) ON CONFLICT DO"
                             " UPDATE SET name = name RETURNING name_id");
    insert.bind(1, name);
    insert.executeStep();
    const int64_t id = insert.getColumn(0).getInt64();
    // RETURNING gives its row before the statement has come to its end.
    insert.executeStep();
    return m_nameIds.emplace(name, id).first->second;
}

void SliceStore::Tidy() {
    Guarded([&] {
        if (m_recentSlices >= kRecentSlices) MoveRecentRecords();
        if (m_walPages >= kWalPagesWorthACheckpoint)
            m_database.exec("PRAGMA wal_checkpoint(PASSIVE)");
    });
}

void SliceStore::MoveRecentRecords() {
    SQLite::Transaction transaction(m_database, SQLite::TransactionBehavior::IMMEDIATE);
    m_database.exec(
        "INSERT INTO records SELECT * FROM recent_records ORDER BY name_id, elapsed, slice_id;"
        "DELETE FROM recent_records");
    transaction.commit();
    m_recentSlices = 0;
}

void SliceStore::End(double time, long long lostSlices) {
    Guarded([&] {
        MoveRecentRecords();
        SQLite::Statement update(m_database, "UPDATE run SET end_time = ?, lost_slices = ?");
        SQLite::bind(update, time, static_cast<int64_t>(lostSlices));
        update.exec();
    });
    // All into the one file. Its companions go as well unless somebody has it open; they are empty
    // then.
    m_database.tryExec("PRAGMA wal_checkpoint(TRUNCATE)");
    m_database.tryExec("PRAGMA journal_mode = DELETE");
}

}  // namespace kzjournal
