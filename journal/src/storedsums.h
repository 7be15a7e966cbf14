#ifndef KZJOURNALSTOREDSUMS_H
#define KZJOURNALSTOREDSUMS_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "block.h"
#include "kzjournalslice.h"
#include "timeline.h"

namespace kzjournal {

// Sums of slices, and on the second level sums of sums. All slices of a sum are in the file, but
// others may lie between them in time: then the sum is of no use.

inline constexpr int kSumLevels = 2;

/// Which slices a stored sum is of: so many from the first one to the last one in the order of
/// time.
struct SumFacts {
    int level;            // from 1
    std::int64_t number;  // from 1 on each level of a run
    int slices;
    int firstId;
    double firstElapsed;
    int lastId;
    double lastElapsed;
    double endTime;  // of the last one
};

/// Stores a sum. `nameIdOf` gives the id of a name that is in the file. Throws `SQLite::Exception`.
void InsertSum(SQLite::Database& database, BlockPacker& packer, int run, const SumFacts& facts,
               const Slice& sum, const std::function<std::int64_t(std::string_view)>& nameIdOf);

/// The stored sums of a run. All operations throw `Error` and `SQLite::Exception`. Compatible.
class StoredSums {
public:
    /// `database`, and `limit` unless it is null, must outlive this.
    StoredSums(SQLite::Database& database, std::string path, int run, StepLimit* limit)
        : m_database(database), m_path(std::move(path)), m_run(run), m_limit(limit) {}

    /// Adds those that have come since the last call. REQUIRES: a schema that has them.
    void Update();

    /// The sum of that level that begins with the slice; null if there is none. Valid until the
    /// next update.
    const SumFacts* FindFrom(int level, int sliceId) const;

    /// Reads and verifies a sum. `nameOf` gives a name by its id, null for none.
    Slice Load(const SumFacts& facts,
               const std::function<const RWCString*(std::int64_t)>& nameOf) const;

private:
    struct Level {
        std::unordered_map<int, SumFacts> sums;  // by their first slices
        std::int64_t lastNumber = 0;
    };

    void Update(int level);
    [[noreturn]] void ThrowDamaged(const SumFacts& facts) const;

    SQLite::Database& m_database;
    const std::string m_path;
    const int m_run;
    StepLimit* const m_limit;
    std::array<Level, kSumLevels> m_levels;
};

}  // namespace kzjournal

#endif
