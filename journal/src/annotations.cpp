#include "annotations.h"

#include <SQLiteCpp/VariadicBind.h>

#include <cmath>
#include <cstdint>

#include "journalfile.h"
#include "kzjournalerror.h"
#include "sliceloader.h"
#include "wordhash.h"

namespace kzjournal {
namespace {

// What a hash is of, so that no note passes for a condition.
constexpr int kNote = 1;
constexpr int kCondition = 2;

WordHash HashOf(int kind, std::int64_t id, int run) {
    WordHash hash;
    hash.AddWhole(kind);
    hash.AddWhole(id);
    hash.AddWhole(run);
    return hash;
}

std::uint64_t ChecksumOf(std::int64_t id, int run, const Note& note) {
    WordHash hash = HashOf(kNote, id, run);
    hash.Add(note.time);
    hash.Add(std::string_view(note.text));
    return hash.Value();
}

std::uint64_t ChecksumOf(std::int64_t id, int run, const std::string& condition) {
    WordHash hash = HashOf(kCondition, id, run);
    hash.Add(std::string_view(condition));
    return hash.Value();
}

/// Adds to the sum in the row of the run. Not by the database, whose sums do not wrap around.
void AddToChecksum(SQLite::Database& database, int run, std::uint64_t checksum) {
    const SQLite::Column former = database.execAndGet(
        "SELECT annotations_checksum FROM runs WHERE number = " + std::to_string(run));
    SQLite::Statement update(database, "UPDATE runs SET annotations_checksum = ? WHERE number = ?");
    const std::uint64_t sum = static_cast<std::uint64_t>(former.getInt64()) + checksum;
    SQLite::bind(update, static_cast<int64_t>(sum), run);
    update.exec();
    RunSeal(database).Seal(run);
}

std::string WhyTooLong(const char* what, const std::string& text) {
    if (text.size() <= static_cast<std::size_t>(kMaxAnnotationBytes)) return {};
    return std::string(what) + " has " + std::to_string(text.size()) + " bytes, more than " +
           std::to_string(kMaxAnnotationBytes);
}

/// Visits the rows of a query that begins with an id, which must rise: damage can repeat rows.
template <class Visit>
bool ForEachRow(SQLite::Statement& query, int run, Visit visit) {
    query.bind(1, run);
    for (std::int64_t last = 0; query.executeStep();) {
        const std::int64_t id = query.getColumn(0).getInt64();
        if (id <= last || !visit(id)) return false;
        last = id;
    }
    return true;
}

}  // namespace

std::string WhyImpossible(const Note& note) {
    if (!(std::abs(note.time) <= kMaxSeconds)) return "its time is no moment";
    return WhyTooLong("its text", note.text);
}

std::string WhyImpossible(const std::string& condition) {
    return WhyTooLong("it", condition);
}

void InsertNote(SQLite::Database& database, int run, const Note& note) {
    SQLite::Statement insert(database,
                             "INSERT INTO notes (run_number, time, text) VALUES (?, ?, ?)");
    SQLite::bind(insert, run, note.time, note.text);
    insert.exec();
    AddToChecksum(database, run, ChecksumOf(database.getLastInsertRowid(), run, note));
}

void InsertCondition(SQLite::Database& database, int run, const std::string& text) {
    SQLite::Statement insert(database, "INSERT INTO conditions (run_number, text) VALUES (?, ?)");
    SQLite::bind(insert, run, text);
    insert.exec();
    AddToChecksum(database, run, ChecksumOf(database.getLastInsertRowid(), run, text));
}

Annotations ReadAnnotations(SQLite::Database& database, const std::string& path, const RunRow& row,
                            int schemaVersion) {
    Annotations read;
    const bool hasChecksum = schemaVersion >= kBlocksSchemaVersion;
    std::uint64_t checksum = 0;
    SQLite::Statement notes(
        database, "SELECT note_id, time, text FROM notes WHERE run_number = ? ORDER BY note_id");
    bool isSound = ForEachRow(notes, row.number, [&](std::int64_t id) {
        if (!IsMoment(notes, 1)) return false;
        read.notes.push_back({notes.getColumn(1).getDouble(), notes.getColumn(2).getString()});
        checksum += ChecksumOf(id, row.number, read.notes.back());
        return WhyImpossible(read.notes.back()).empty();
    });
    if (hasChecksum) {
        SQLite::Statement conditions(database,
                                     "SELECT condition_id, text FROM conditions"
                                     " WHERE run_number = ? ORDER BY condition_id");
        isSound = isSound && ForEachRow(conditions, row.number, [&](std::int64_t id) {
                      read.conditions.push_back(conditions.getColumn(1).getString());
                      checksum += ChecksumOf(id, row.number, read.conditions.back());
                      return WhyImpossible(read.conditions.back()).empty();
                  });
    }
    if (!isSound ||
        (hasChecksum && checksum != static_cast<std::uint64_t>(row.annotationsChecksum)))
        throw Error("cannot read " + path + ": its notes or conditions are damaged");
    return read;
}

}  // namespace kzjournal
