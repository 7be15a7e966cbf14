#include "runrow.h"

#include <SQLiteCpp/VariadicBind.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "journalfile.h"
#include "kzjournalerror.h"
#include "wordhash.h"

namespace kzjournal {
namespace {

constexpr int kChecksumColumn = 15;
constexpr int kAnnotationsColumn = 16;

std::int64_t ChecksumAt(SQLite::Statement& row) {
    WordHash hash;
    // Runs without annotations have the checksum of the time before there were any.
    const bool isAnnotated = row.getColumn(kAnnotationsColumn).getInt64() != 0;
    for (int i = 0; i <= kAnnotationsColumn; ++i) {
        if (i == kChecksumColumn || (i == kAnnotationsColumn && !isAnnotated)) continue;
        const SQLite::Column value = row.getColumn(i);
        if (value.isInteger())
            hash.AddWhole(value.getInt64());
        else if (value.isFloat())
            hash.Add(value.getDouble());
        else
            hash.Add(std::string_view(value.getText(), static_cast<std::size_t>(value.getBytes())));
    }
    return static_cast<std::int64_t>(hash.Value());
}

/// NaN where it is none: the database keeps any text in any column.
double NumberAt(SQLite::Statement& row, int column) {
    const SQLite::Column value = row.getColumn(column);
    return value.isFloat() ? value.getDouble() : std::nan("");
}

std::optional<double> OptionalAt(SQLite::Statement& row, int column) {
    return row.isColumnNull(column) ? std::nullopt : std::optional(NumberAt(row, column));
}

bool IsMoment(std::optional<double> seconds) {
    return !seconds || std::abs(*seconds) <= kMaxSeconds;
}

/// No run has more slices than ids.
bool IsCount(long long slices) {
    return slices >= 0 && slices <= 2 * static_cast<long long>(std::numeric_limits<int>::max());
}

}  // namespace

std::string SelectRunRow(int schemaVersion) {
    return std::string(
               "SELECT number, parent, run_id, generator, test_name, start_time, slice_length,"
               " host, command_line, load_begin, load_end, end_time, expected_slices,"
               " lost_slices, is_merged, checksum, ") +
           (schemaVersion >= kBlocksSchemaVersion ? "annotations_checksum" : "0") + " FROM runs";
}

std::string WhyImpossible(const Run& run) {
    if (!IsMoment(run.startTime)) return "its start is no moment in time";
    if (!(run.sliceLength >= kMinSliceLength && run.sliceLength <= kMaxSeconds))
        return "its slices have an impossible length";
    if (!IsMoment(run.loadBegin) || !IsMoment(run.loadEnd))
        return "its load begins or ends at no moment in time";
    if (run.loadBegin && run.loadEnd && *run.loadEnd < *run.loadBegin)
        return "its load ends before it begins";
    return {};
}

RunRow ReadRunRow(SQLite::Statement& row, const std::string& path) {
    const auto text = [&](int column) { return row.getColumn(column).getString(); };
    const auto refuse = [&](const std::string& reason) {
        throw Error("cannot read " + path + ": run " + std::to_string(row.getColumn(0).getInt64()) +
                    " is damaged: " + reason);
    };
    if (ChecksumAt(row) != row.getColumn(kChecksumColumn).getInt64())
        refuse("its facts are not those that were stored");
    RunRow read{row.getColumn(0).getInt(),
                row.getColumn(1).getInt(),
                {text(2), text(3), NumberAt(row, 5), NumberAt(row, 6), text(7), text(8), text(4),
                 OptionalAt(row, 9), OptionalAt(row, 10)},
                row.getColumn(14).getInt() != 0,
                OptionalAt(row, 11),
                row.getColumn(12).getInt64(),
                row.getColumn(13).getInt64(),
                row.getColumn(kAnnotationsColumn).getInt64()};
    if (const std::string reason = WhyImpossible(read.run); !reason.empty()) refuse(reason);
    if (!IsMoment(read.endTime)) refuse("its end is no moment in time");
    if (!IsCount(read.expectedSlices) || !IsCount(read.lostSlices))
        refuse("it has an impossible number of slices");
    return read;
}

RunRow ReadRunRow(SQLite::Database& database, const std::string& path, int schemaVersion,
                  int number) {
    SQLite::Statement query(database, SelectRunRow(schemaVersion) + " WHERE number = ?");
    query.bind(1, number);
    if (!query.executeStep())
        throw Error("cannot read " + path + ": it holds no " +
                    (number == 0 ? "run" : "source " + std::to_string(number)));
    return ReadRunRow(query, path);
}

RunSeal::RunSeal(SQLite::Database& database)
    : m_select(database, SelectRunRow(kSchemaVersion) + " WHERE number = ?"),
      m_update(database, "UPDATE runs SET checksum = ? WHERE number = ?") {}

void RunSeal::Seal(int number) {
    // Not `reset`: it would throw once more what the statement met last time.
    m_select.tryReset();
    m_select.bind(1, number);
    if (!m_select.executeStep()) return;
    const std::int64_t checksum = ChecksumAt(m_select);
    m_select.tryReset();
    m_update.tryReset();
    SQLite::bind(m_update, static_cast<int64_t>(checksum), number);
    m_update.exec();
}

}  // namespace kzjournal
