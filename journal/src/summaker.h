#ifndef KZJOURNALSUMMAKER_H
#define KZJOURNALSUMMAKER_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "block.h"
#include "storedsums.h"

namespace kzjournal {

/// Makes sums of the slices that are in the file, each of 60 slices or of 60 other sums, or of
/// fewer where there are many names. Compatible.
///
/// A sum only saves time. What stands against one, such as damage, a full disk or a result that
/// would depend on the grouping, leaves it out: readers take the slices then.
class SumMaker {
public:
    using NameIds = std::function<std::int64_t(std::string_view)>;

    /// A slice is in the file.
    void Count(int run, int sliceId, double elapsed, std::size_t records) noexcept;

    bool HasWork() const { return !m_works.empty(); }

    /// Makes the next sum, in a transaction of its own. `path` is for its errors. REQUIRES:
    /// `HasWork()`.
    void MakeNext(SQLite::Database& database, const std::string& path, const NameIds& nameIdOf);

private:
    /// By the order of time.
    using SliceKey = std::pair<double, int>;

    struct Run {
        std::vector<SliceKey> slices;  // in no sum yet
        std::size_t records = 0;       // of them
        std::vector<SumFacts> sums;    // in none of the second level yet
        std::size_t sumRecords = 0;
        std::array<std::int64_t, kSumLevels> made{};  // by level
    };

    struct Work {
        int run;
        std::vector<SliceKey> slices;  // one of these two
        std::vector<SumFacts> sums;
    };

    /// A sum and where it is to be stored.
    struct MadeSum {
        SumFacts facts;
        Slice slice;
    };

    void Add(int run, int sliceId, double elapsed, std::size_t records);
    void MakeOfSlices(SQLite::Database& database, const std::string& path, const Work& work,
                      const NameIds& nameIdOf);
    void MakeOfSums(SQLite::Database& database, const std::string& path, const Work& work,
                    const NameIds& nameIdOf);
    void Store(SQLite::Database& database, int run, SumFacts& facts, const Slice& sum,
               const NameIds& nameIdOf);
    void CountSum(int run, const SumFacts& facts, std::size_t records);

    std::map<int, Run> m_runs;
    std::deque<Work> m_works;
    BlockPacker m_packer;
};

}  // namespace kzjournal

#endif
