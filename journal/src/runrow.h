#ifndef KZJOURNALRUNROW_H
#define KZJOURNALRUNROW_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <optional>
#include <string>

#include "kzjournalrun.h"

namespace kzjournal {

/// What the file has about a run.
struct RunRow {
    int number;
    int parent;  // 0 where there is none
    Run run;
    bool isMerged;
    std::optional<double> endTime;
    long long expectedSlices;
    long long lostSlices;
    std::int64_t annotationsChecksum;  // 0 where there are none
};

/// Begins a query of `ReadRunRow`.
std::string SelectRunRow(int schemaVersion);

/// Reads the present row of a query that begins with `SelectRunRow`. Throws `Error`, with `path`,
/// where the row is not as it was stored or has numbers that no run has.
RunRow ReadRunRow(SQLite::Statement& row, const std::string& path);

/// Reads that of one run. Throws as above, and where there is none.
RunRow ReadRunRow(SQLite::Database& database, const std::string& path, int schemaVersion,
                  int number);

/// Why a run with these facts cannot be stored; empty if it can.
std::string WhyImpossible(const Run& run);

/// Stores checksums over the rows of runs. All operations throw `SQLite::Exception`. Compatible.
class RunSeal {
public:
    /// `database` must outlive the seal.
    explicit RunSeal(SQLite::Database& database);

    /// Within the transaction that changes the row.
    void Seal(int number);

private:
    SQLite::Statement m_select;
    SQLite::Statement m_update;
};

}  // namespace kzjournal

#endif
