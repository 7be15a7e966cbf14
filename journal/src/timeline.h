#ifndef KZJOURNALTIMELINE_H
#define KZJOURNALTIMELINE_H

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kzjournal {

/// The slices of one run in the order of time. The file has the end of each slice and its id in a
/// table and in two indexes. All three must agree, so that no damage hides a slice from a range.
///
/// All operations throw `Error` and `SQLite::Exception`. Compatible.
class Timeline {
public:
    struct Entry {
        double elapsed;
        int id;
        int chunk;
    };

    /// `database` must outlive the timeline.
    Timeline(SQLite::Database& database, std::string path, int run)
        : m_database(database), m_path(std::move(path)), m_run(run) {}

    /// Adds the slices that have come since the last call.
    void Update();

    /// In the order of time, then of the ids.
    const std::vector<Entry>& Entries() const { return m_entries; }

    /// In ascending order.
    const std::vector<int>& Ids() const { return m_ids; }

private:
    /// A row of the table, with what the indexes have of it.
    struct Row {
        double elapsed;
        int id;
        std::int64_t number;
    };

    void AddAll();
    void AddNew();
    void Add(SQLite::Statement& row);
    void CheckIndex(const std::string& index, const std::string& order,
                    const std::vector<Row>& rows);
    [[noreturn]] void ThrowDamaged(int sliceId) const;
    [[noreturn]] void ThrowDamaged(const std::string& what) const;

    SQLite::Database& m_database;
    const std::string m_path;
    const int m_run;
    std::vector<Entry> m_entries;
    std::vector<int> m_ids;
    std::int64_t m_lastRow = 0;  // as the table numbers them
};

}  // namespace kzjournal

#endif
