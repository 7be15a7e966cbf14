#include "slicestore.h"

#include <SQLiteCpp/VariadicBind.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <utility>

#include "annotations.h"
#include "journalfile.h"
#include "messageid.h"
#include "slicechecksum.h"
#include "slicecosts.h"

namespace kzjournal {
namespace {

/// Bounds the memory of a reader, which takes a chunk as a whole.
constexpr std::size_t kMaxChunkRecords = std::size_t{1} << 18;
constexpr int kAllSums = std::numeric_limits<int>::max();
constexpr int kMinWalPagesToCheckpoint = 1000;
constexpr int64_t kMaxQuietWalBytes = int64_t{256} << 20;

/// Within the time that closing a journal may take.
constexpr int kWaitForReadersMilliseconds = 1200;

constexpr char kInsertSlice[] =
    "INSERT INTO slices (run_number, slice_id, elapsed, end_time, chunk, checksum, measured,"
    " processor_time, processors, busiest_thread, longest_wait, involuntary_switches,"
    " reporter_wait, pack_time, listener_time, timer_lateness, start_lateness, cost_checksum)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING";
constexpr char kInsertMessage[] = "INSERT INTO recent_messages VALUES (?, ?, ?, ?)";
constexpr char kInsertRecord[] =
    "INSERT INTO recent_records (run_number, chunk, name_id, slice_id, elapsed, type,"
    " last_minimum, last_maximum, last_count, last_sum, last_sum_of_squares,"
    " minimum, maximum, count, sum, sum_of_squares,"
    " last_p50, last_p90, last_p95, last_p99, last_p999, distribution)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
    " ON CONFLICT DO NOTHING";
constexpr char kInsertName[] =
    "INSERT INTO names (name) VALUES (?)"
    " ON CONFLICT DO UPDATE SET name = name RETURNING name_id";
constexpr char kNoteProgress[] =
    "UPDATE runs SET expected_slices = ?, load_begin = ?, load_end = ? WHERE number = ?";

/// Keeps the length of the write-ahead log, in pages, where `pages` points to.
int NoteWalPages(void* pages, sqlite3*, const char*, int count) {
    *static_cast<int*>(pages) = count;
    return SQLITE_OK;
}

/// The database makes NULL of a NaN, which readers take for one.
void BindAggregate(SQLite::Statement& statement, int column, const CKZStatAggregate& aggregate) {
    statement.bind(column, aggregate.minimum);
    statement.bind(column + 1, aggregate.maximum);
    statement.bind(column + 2, aggregate.count);
    statement.bind(column + 3, aggregate.sum);
    statement.bind(column + 4, aggregate.sumSqr);
}

/// NULL where there is no distribution. `form` must stay until the statement is done.
void BindForm(SQLite::Statement& statement, int column, std::string_view form) {
    if (form.empty())
        statement.bind(column);
    else
        statement.bindNoCopy(column, static_cast<const void*>(form.data()),
                             static_cast<int>(form.size()));
}

Note NoteOf(const CKZStatNote& note) {
    return {note.time, std::string(note.text.view())};
}

int64_t ChecksumOf(const CKZStatSliceValues& slice, const RecordDistributions& distributions) {
    SliceChecksum checksum(slice.GetSliceId(), slice.GetElapsed(), slice.GetEndTime(),
                           slice.GetMessage().view());
    std::size_t position = 0;
    for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
        checksum.Add(record.name, record.type, record.totals, record.lasts,
                     distributions.FormOf(position), distributions.PercentilesOf(position));
        ++position;
    }
    return checksum.Value();
}

}  // namespace

SliceStore::OpenFile::OpenFile(WritableJournal&& journal)
    : database(std::move(journal.database)),
      lock(std::move(journal.lock)),
      places(PathOf(database)),
      insertSlice(database, kInsertSlice),
      insertMessage(database, kInsertMessage),
      insertRecord(database, kInsertRecord),
      insertName(database, kInsertName),
      noteProgress(database, kNoteProgress),
      seal(database) {}

SliceStore::SliceStore(const std::string& path, const Run& run,
                       const std::vector<std::string>& conditions, Safety safety)
    : m_path(path), m_safety(safety), m_runs{run} {
    Use(MakeJournal(path, run, conditions));
    m_firstPath = PathOf(m_file->database);
}

/// Writes into the journal from now on.
void SliceStore::Use(WritableJournal&& journal) {
    Guarded([&] {
        m_file.emplace(std::move(journal));
        sqlite3* const handle = m_file->database.getHandle();
        // What the names of the companions lead to when it is closed may belong to another file.
        sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        if (m_safety == SafeAtTheEnd) m_file->database.exec("PRAGMA synchronous = OFF");
        // What moves to another table need not be overwritten with zeros, and is sorted in memory.
        m_file->database.exec("PRAGMA secure_delete = OFF; PRAGMA temp_store = MEMORY");
        // Emptied by `Tidy` instead, when nobody waits.
        m_walPages = 0;
        sqlite3_wal_hook(handle, NoteWalPages, &m_walPages);
    });
}

/// Runs the action, and tells what went wrong in words of the user.
template <class Action>
void SliceStore::Guarded(Action action) {
    try {
        ForgettingNames(action);
    } catch (const SQLite::Exception& error) {
        throw Error(Explain("write", m_path, error));
    }
}

/// A rolled back slice takes the names that it brought with it, whatever stood against it.
template <class Action>
void SliceStore::ForgettingNames(Action action) {
    try {
        action();
    } catch (...) {
        m_nameIds.clear();
        throw;
    }
}

int SliceStore::AddSource(const Run& run, int parent, bool isMerged) {
    if (const std::string why = WhyImpossible(run); !why.empty())
        throw Error("cannot keep a run in " + m_path + ": " + why);
    const bool isThere = std::any_of(m_runs.begin(), m_runs.end(),
                                     [&](const Run& other) { return other.id == run.id; });
    if (isThere)
        throw Error("cannot merge the run " + run.id + " into " + m_path +
                    ": it is a part of it already");
    const int number = static_cast<int>(m_runs.size());
    Guarded([&] {
        SQLite::Transaction transaction(Database(), SQLite::TransactionBehavior::IMMEDIATE);
        InsertRun(Database(), number, parent, run, isMerged);
        Database().exec("UPDATE runs SET is_merged = 1 WHERE number = 0");
        m_file->seal.Seal(0);
        transaction.commit();
    });
    m_runs.push_back(run);
    return number;
}

bool SliceStore::Write(int run, const CKZStatSliceValues& slice,
                       const RecordDistributions& distributions, const std::vector<int>& sources,
                       long long expectedSlices) {
    RefuseWhatCannotBeKept(run, slice);
    if (distributions.ByteCount() > static_cast<std::size_t>(kMaxValueBytes))
        Refuse(slice.GetSliceId(),
               "its distributions take more than " + std::to_string(kMaxValueBytes) + " bytes");
    bool isNew = false;
    Guarded([&] { isNew = WriteWhole(run, slice, distributions, sources, expectedSlices); });
    return isNew;
}

void SliceStore::RefuseWhatCannotBeKept(int run, const CKZStatSliceValues& slice) const {
    const std::string& generator = FactsOf(run).generator;
    if (slice.GetGeneratorName().view() != generator)
        throw Refusal("cannot keep a slice of the generator " +
                      std::string(slice.GetGeneratorName().view()) + " in " + m_path +
                      ": it holds a run of " + generator);
    if (slice.GetSliceId() < 1) Refuse(slice.GetSliceId(), "ids of slices begin at 1");
    if (!(std::abs(slice.GetElapsed()) <= kMaxSeconds) ||
        !(std::abs(slice.GetEndTime()) <= kMaxSeconds))
        Refuse(slice.GetSliceId(), "its end is no moment in time");
    for (const CKZStatNote& note : slice.GetFacts().notes)
        if (const std::string why = WhyImpossible(NoteOf(note)); !why.empty())
            Refuse(slice.GetSliceId(), "a note of it is impossible: " + why);
    if (IsOfAnotherSlice(slice.GetMessage().view(), slice.GetSliceId()))
        Refuse(slice.GetSliceId(), "its message is that of another slice");
    if (slice.GetMessage().length() > static_cast<std::size_t>(kMaxValueBytes))
        Refuse(slice.GetSliceId(),
               "its message is longer than " + std::to_string(kMaxValueBytes) + " bytes");
}

bool SliceStore::WriteWhole(int run, const CKZStatSliceValues& slice,
                            const RecordDistributions& distributions,
                            const std::vector<int>& sources, long long expectedSlices) {
    const int64_t checksum = ChecksumOf(slice, distributions);
    Chunk& chunk = OpenChunkFor(run, slice.GetSliceId());
    SQLite::Transaction transaction(Database(), SQLite::TransactionBehavior::IMMEDIATE);
    if (!InsertSlice(chunk, slice, checksum)) {
        RefuseOtherContent(run, slice.GetSliceId(), checksum);
        return false;
    }
    InsertMessage(chunk, slice);
    InsertRecords(chunk, slice, distributions);
    for (const int source : sources) InsertSource(slice.GetSliceId(), source);
    for (const CKZStatNote& note : slice.GetFacts().notes)
        InsertNote(Database(), run, NoteOf(note));
    NoteProgress(run, expectedSlices);
    transaction.commit();
    CountIn(chunk, slice, distributions.ByteCount());
    return true;
}

bool SliceStore::InsertSlice(const Chunk& chunk, const CKZStatSliceValues& slice,
                             int64_t checksum) {
    // Not `reset`, here and below: it would throw once more what the statement met last time.
    m_file->insertSlice.tryReset();
    m_file->insertSlice.bind(1, chunk.run);
    m_file->insertSlice.bind(2, slice.GetSliceId());
    m_file->insertSlice.bind(3, slice.GetElapsed());
    m_file->insertSlice.bind(4, slice.GetEndTime());
    m_file->insertSlice.bind(5, chunk.number);
    m_file->insertSlice.bind(6, checksum);
    BindCost(m_file->insertSlice, 7, slice.GetSliceId(), slice.GetFacts().cost);
    return m_file->insertSlice.exec() > 0;
}

void SliceStore::InsertMessage(const Chunk& chunk, const CKZStatSliceValues& slice) {
    const std::string_view message = slice.GetMessage().view();
    m_file->insertMessage.tryReset();
    SQLite::bind(m_file->insertMessage, chunk.run, slice.GetSliceId(), chunk.number);
    m_file->insertMessage.bindNoCopy(4, static_cast<const void*>(message.data()),
                                     static_cast<int>(message.size()));
    m_file->insertMessage.exec();
}

void SliceStore::Refuse(int sliceId, const std::string& why) const {
    throw Refusal(std::string("cannot keep slice ")
                      .append(std::to_string(sliceId))
                      .append(" in ")
                      .append(m_path)
                      .append(": ")
                      .append(why));
}

/// A slice that comes again changes nothing; one that only has the id of another must not seem to
/// be kept.
void SliceStore::RefuseOtherContent(int run, int sliceId, int64_t checksum) {
    SQLite::Statement query(
        Database(), "SELECT checksum = ? FROM slices WHERE run_number = ? AND slice_id = ?");
    SQLite::bind(query, checksum, run, sliceId);
    if (query.executeStep() && query.getColumn(0).getInt() != 0) return;
    Refuse(sliceId, "another slice with this id is in it");
}

void SliceStore::InsertRecords(const Chunk& chunk, const CKZStatSliceValues& slice,
                               const RecordDistributions& distributions) {
    std::size_t position = 0;
    for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
        if (!InsertRecord(chunk, slice, record, distributions.FormOf(position),
                          distributions.PercentilesOf(position)))
            Refuse(slice.GetSliceId(), "it has two records of " + std::string(record.name));
        ++position;
    }
}

void SliceStore::InsertSource(int sliceId, int source) {
    SQLite::Statement insert(Database(), "INSERT INTO slice_sources VALUES (?, ?)");
    SQLite::bind(insert, sliceId, source);
    insert.exec();
}

/// Returns false where the slice has a record of that name already.
bool SliceStore::InsertRecord(const Chunk& chunk, const CKZStatSliceValues& slice,
                              const CKZStatSliceValues::Record& record,
                              std::string_view distribution, const Percentiles& percentiles) {
    m_file->insertRecord.tryReset();
    m_file->insertRecord.bind(1, chunk.run);
    m_file->insertRecord.bind(2, chunk.number);
    m_file->insertRecord.bind(3, NameId(record.name));
    m_file->insertRecord.bind(4, slice.GetSliceId());
    m_file->insertRecord.bind(5, slice.GetElapsed());
    m_file->insertRecord.bind(6, static_cast<int>(record.type));
    BindAggregate(m_file->insertRecord, 7, record.lasts);
    BindAggregate(m_file->insertRecord, 12, record.totals);
    constexpr int kFirstPercentile = 17;
    for (std::size_t i = 0; i < percentiles.size(); ++i)
        m_file->insertRecord.bind(kFirstPercentile + static_cast<int>(i), percentiles[i]);
    BindForm(m_file->insertRecord, kFirstPercentile + static_cast<int>(percentiles.size()),
             distribution);
    return m_file->insertRecord.exec() > 0;
}

/// In the transaction of a slice, so that it costs no other one.
void SliceStore::NoteProgress(int run, long long expectedSlices) {
    SQLite::Statement& update = m_file->noteProgress;
    update.tryReset();
    update.bind(1, static_cast<int64_t>(expectedSlices));
    BindOptional(update, 2, FactsOf(run).loadBegin);
    BindOptional(update, 3, FactsOf(run).loadEnd);
    update.bind(4, run);
    update.exec();
    m_file->seal.Seal(run);
}

/// The chunk that a slice belongs to once it is kept: the open one, or a new one named after it.
/// Made before the slice is in the file, since nothing may fail after that. One without slices has
/// no name yet: its slice was not kept, or was there already and gave its name to another chunk.
Chunk& SliceStore::OpenChunkFor(int run, int sliceId) {
    constexpr double kNever = std::numeric_limits<double>::infinity();
    Chunk& chunk = m_openChunks.try_emplace(run, Chunk{}).first->second;
    if (chunk.slices == 0) chunk = {run, sliceId, 0, kNever, -kNever};
    return chunk;
}

/// The slice is in the file.
void SliceStore::CountIn(Chunk& chunk, const CKZStatSliceValues& slice,
                         std::size_t distributionBytes) noexcept {
    ++chunk.slices;
    // Time goes back where a pause of the generator ends.
    chunk.firstElapsed = std::min(chunk.firstElapsed, slice.GetElapsed());
    chunk.lastElapsed = std::max(chunk.lastElapsed, slice.GetElapsed());
    m_openRecords += slice.GetRecords().size();
    m_openDistributionBytes += distributionBytes;
    m_openMessageBytes += slice.GetMessage().length();
    m_sums.Count(chunk.run, slice.GetSliceId(), slice.GetElapsed(), slice.GetRecords().size());
}

int64_t SliceStore::NameId(std::string_view name) {
    const std::string key(name);
    const auto known = m_nameIds.find(key);
    if (known != m_nameIds.end()) return known->second;

    m_file->insertName.tryReset();
    m_file->insertName.bind(1, key);
    m_file->insertName.executeStep();
    const int64_t id = m_file->insertName.getColumn(0).getInt64();
    // RETURNING gives its row before the statement has come to its end.
    m_file->insertName.executeStep();
    return m_nameIds.emplace(key, id).first->second;
}

std::string SliceStore::LookAround() {
    const std::string displaced = m_file->places.Displaced();
    if (displaced.empty()) return {};
    const std::string trouble = displaced + " was removed or replaced while the run was written";
    try {
        Use(CopyBeside(Database(), m_firstPath));
    } catch (const Error& error) {
        throw Error(trouble + ", and a copy beside it failed: " + error.what());
    }
    m_path = PathOf(Database());
    return trouble + "; the run is in " + m_path + " now";
}

std::string SliceStore::Tidy() {
    bool isTooLong = false;
    // One after the other, so that the next slice waits for one of them only.
    const bool makesSum = m_sums.HasWork();
    MakeSums(m_safety == SafeAtOnce ? 1 : kAllSums);
    Guarded([&] {
        if (IsWorthMoving() && !(makesSum && m_safety == SafeAtOnce)) {
            CloseChunks();
            MoveClosedChunks();
        }
        if (m_walPages >= kMinWalPagesToCheckpoint) isTooLong = ShortenTheLog();
    });
    if (!isTooLong || std::exchange(m_hasWarnedOfLog, true)) return {};
    return m_path + "-wal takes more than 256 MB, since another program reads " + m_path +
           " all the time; end that program";
}

void SliceStore::MakeSums(int most) {
    for (; most > 0 && m_sums.HasWork(); --most)
        m_sums.MakeNext(Database(), m_path, [&](std::string_view name) { return NameId(name); });
}

/// Returns whether it is too long all the same.
bool SliceStore::ShortenTheLog() {
    SQLite::Statement checkpoint(Database(), "PRAGMA wal_checkpoint(PASSIVE)");
    checkpoint.executeStep();
    const int64_t pages = checkpoint.getColumn(1).getInt64();
    const int64_t pagesInTheFile = checkpoint.getColumn(2).getInt64();
    checkpoint.executeStep();
    // What is in the file as a whole begins anew with the next slice.
    return pagesInTheFile < pages && pages * PageBytes() > kMaxQuietWalBytes;
}

int64_t SliceStore::PageBytes() {
    return Database().execAndGet("PRAGMA page_size").getInt64();
}

bool SliceStore::IsWorthMoving() const {
    return m_openRecords >= kMaxChunkRecords || m_openDistributionBytes >= kMaxChunkBytes ||
           m_openMessageBytes >= kMaxChunkMessageBytes ||
           std::any_of(m_openChunks.begin(), m_openChunks.end(),
                       [](const auto& open) { return open.second.slices >= kChunkSlices; });
}

/// Of all runs. None grows beyond its bounds then, even if it cannot be moved now.
void SliceStore::CloseChunks() {
    for (const auto& [run, chunk] : m_openChunks)
        if (chunk.slices > 0) m_closedChunks.push_back(chunk);
    m_openChunks.clear();
    m_openRecords = 0;
    m_openDistributionBytes = 0;
    m_openMessageBytes = 0;
}

/// One that cannot be moved is tried again together with the next one.
void SliceStore::MoveClosedChunks() {
    for (; !m_closedChunks.empty(); m_closedChunks.pop_front())
        m_mover.Move(Database(), m_closedChunks.front());
}

void SliceStore::SetLoad(const LoadSpan& load) {
    Run& facts = m_runs.front();
    const LoadSpan before{facts.loadBegin, facts.loadEnd};
    facts.loadBegin = load.begin;
    facts.loadEnd = load.end;
    if (WhyImpossible(facts).empty()) return;
    facts.loadBegin = before.begin;
    facts.loadEnd = before.end;
}

void SliceStore::AddNote(int run, const Note& note) {
    if (const std::string why = WhyImpossible(note); !why.empty())
        throw Error("cannot keep a note in " + m_path + ": " + why);
    Guarded([&] {
        SQLite::Transaction transaction(Database(), SQLite::TransactionBehavior::IMMEDIATE);
        InsertNote(Database(), run, note);
        transaction.commit();
    });
}

void SliceStore::AddCondition(int run, const std::string& text) {
    if (const std::string why = WhyImpossible(text); !why.empty())
        throw Error("cannot keep a condition in " + m_path + ": " + why);
    Guarded([&] {
        SQLite::Transaction transaction(Database(), SQLite::TransactionBehavior::IMMEDIATE);
        InsertCondition(Database(), run, text);
        transaction.commit();
    });
}

void SliceStore::EndRun(int run, std::optional<double> time, long long lostSlices,
                        long long expectedSlices, const std::vector<CKZStatNote>& notes) {
    Guarded([&] {
        SQLite::Transaction transaction(Database(), SQLite::TransactionBehavior::IMMEDIATE);
        for (const CKZStatNote& note : notes)
            if (WhyImpossible(NoteOf(note)).empty()) InsertNote(Database(), run, NoteOf(note));
        SQLite::Statement update(Database(),
                                 "UPDATE runs SET lost_slices = ?, expected_slices = ?,"
                                 " end_time = ?, load_begin = ?, load_end = ? WHERE number = ?");
        SQLite::bind(update, static_cast<int64_t>(lostSlices),
                     static_cast<int64_t>(expectedSlices));
        BindOptional(update, 3, time);
        BindOptional(update, 4, FactsOf(run).loadBegin);
        BindOptional(update, 5, FactsOf(run).loadEnd);
        update.bind(6, run);
        update.exec();
        m_file->seal.Seal(run);
        transaction.commit();
    });
}

void SliceStore::End(std::optional<double> time, long long lostSlices, long long expectedSlices,
                     const std::vector<CKZStatNote>& notes) {
    MakeSums(kAllSums);
    CloseChunks();
    try {
        MoveClosedChunks();
    } catch (const std::exception&) {
        // They are read where they are, and the end may need less room than they do.
    }
    EndRun(0, time, lostSlices, expectedSlices, notes);
    Database().setBusyTimeout(kWaitForReadersMilliseconds);
    try {
        EmptyTheLog();
    } catch (const SQLite::Exception&) {
        // `LeaveCompanions` meets it again.
    }
    Database().setBusyTimeout(kLockWaitMilliseconds);
}

void SliceStore::LeaveCompanions() {
    const std::string obstacle = PutAllIntoTheFile();
    if (obstacle.empty()) return;
    if (m_safety == SafeAtTheEnd) throw Error(obstacle);
    throw Error(obstacle + "; " + m_path + "-wal belongs to it: copy and move both together");
}

/// Returns false where readers hinder it.
bool SliceStore::EmptyTheLog() {
    if (m_safety == SafeAtTheEnd) Database().exec("PRAGMA synchronous = FULL");
    return Database().execAndGet("PRAGMA wal_checkpoint(TRUNCATE)").getInt() == 0;
}

/// Returns what stood against it, or an empty text. Companions go as well unless somebody has the
/// file open; they are empty then.
std::string SliceStore::PutAllIntoTheFile() {
    try {
        const bool isComplete =
            EmptyTheLog() && (LeaveTheLog(Database()) || m_safety == SafeAtOnce);
        return isComplete ? std::string() : "another program reads " + m_path;
    } catch (const SQLite::Exception& error) {
        return Explain("write", m_path, error);
    }
}

}  // namespace kzjournal
