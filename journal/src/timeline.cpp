#include "timeline.h"

#include <SQLiteCpp/VariadicBind.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <tuple>

#include "journalfile.h"
#include "kzjournalerror.h"
#include "sliceloader.h"

namespace kzjournal {
namespace {

constexpr char kAllSlices[] =
    "SELECT rowid, slice_id, elapsed, chunk FROM slices NOT INDEXED WHERE run_number = ?"
    " ORDER BY rowid";

// With what the indexes have of each. ?1 is the number of the run, ?2 the last row that is known.
constexpr char kNewSlices[] =
    "SELECT s.rowid, s.slice_id, s.elapsed, s.chunk,"
    " (SELECT i.rowid FROM slices i INDEXED BY sqlite_autoindex_slices_1"
    "  WHERE i.run_number = ?1 AND i.slice_id = s.slice_id),"
    " (SELECT t.rowid FROM slices t INDEXED BY slices_by_time"
    "  WHERE t.run_number = ?1 AND t.elapsed = s.elapsed AND t.slice_id = s.slice_id)"
    " FROM slices s NOT INDEXED WHERE s.rowid > ?2 AND s.run_number = ?1 ORDER BY s.rowid";

bool IsEarlier(const Timeline::Entry& a, const Timeline::Entry& b) {
    return std::tie(a.elapsed, a.id) < std::tie(b.elapsed, b.id);
}

/// Sorts the elements from `known` on among those before, which are sorted.
template <class Element, class Order>
void MergeNew(std::vector<Element>& elements, std::ptrdiff_t known, Order isBefore) {
    const auto first = elements.begin() + known;
    std::sort(first, elements.end(), isBefore);
    const bool isInOrder = known == 0 || first == elements.end() || isBefore(*(first - 1), *first);
    if (!isInOrder) std::inplace_merge(elements.begin(), first, elements.end(), isBefore);
}

}  // namespace

void Timeline::Update() {
    const SQLite::Transaction view(m_database);
    const auto known = static_cast<std::ptrdiff_t>(m_entries.size());
    if (known == 0)
        AddAll();
    else
        AddNew();
    // Time goes back where a pause of the generator ends.
    MergeNew(m_entries, known, IsEarlier);
    MergeNew(m_ids, known, std::less<>());
    if (std::adjacent_find(m_ids.begin() + known, m_ids.end()) != m_ids.end())
        ThrowDamaged("it has slices twice");
}

/// Reads the table and its indexes from beginning to end, which takes much less time than looking
/// for each slice.
void Timeline::AddAll() {
    std::vector<Row> rows;
    SQLite::Statement query(m_database, kAllSlices);
    query.bind(1, m_run);
    while (query.executeStep()) {
        Add(query);
        rows.push_back({m_entries.back().elapsed, m_entries.back().id, m_lastRow});
    }
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.id < b.id; });
    CheckIndex("sqlite_autoindex_slices_1", "slice_id", rows);
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return std::tie(a.elapsed, a.id) < std::tie(b.elapsed, b.id);
    });
    CheckIndex("slices_by_time", "elapsed, slice_id", rows);
}

void Timeline::AddNew() {
    SQLite::Statement query(m_database, kNewSlices);
    SQLite::bind(query, m_run, static_cast<int64_t>(m_lastRow));
    while (query.executeStep()) {
        Add(query);
        if (query.getColumn(4).getInt64() != m_lastRow ||
            query.getColumn(5).getInt64() != m_lastRow)
            ThrowDamaged(m_entries.back().id);
    }
}

void Timeline::Add(SQLite::Statement& row) {
    const std::int64_t number = row.getColumn(0).getInt64();
    const std::optional<int> id = IdAt(row, 1);
    const std::optional<int> chunk = IdAt(row, 3);
    if (!id) ThrowDamaged("row " + std::to_string(number) + " of slices has no valid id");
    if (number <= m_lastRow || !chunk || !IsMoment(row, 2)) ThrowDamaged(*id);
    m_lastRow = number;
    m_ids.push_back(*id);
    m_entries.push_back({row.getColumn(2).getDouble(), *id, *chunk});
}

/// The index has the rows of the table, and no others. `order` are its columns.
void Timeline::CheckIndex(const std::string& index, const std::string& order,
                          const std::vector<Row>& rows) {
    SQLite::Statement query(m_database, "SELECT rowid, " + order + " FROM slices INDEXED BY " +
                                            index + " WHERE run_number = ? ORDER BY " + order);
    query.bind(1, m_run);
    const int idColumn = query.getColumnCount() - 1;
    auto row = rows.begin();
    for (; row != rows.end() && query.executeStep(); ++row) {
        const bool isSame = query.getColumn(0).getInt64() == row->number &&
                            query.getColumn(idColumn).getInt64() == row->id &&
                            (idColumn == 1 || query.getColumn(1).getDouble() == row->elapsed);
        if (!isSame) ThrowDamaged(row->id);
    }
    if (row != rows.end() || query.executeStep())
        ThrowDamaged("its slices are not all in " + index);
}

void Timeline::ThrowDamaged(int sliceId) const {
    ThrowDamaged("slice " + std::to_string(sliceId) + " is damaged");
}

void Timeline::ThrowDamaged(const std::string& what) const {
    throw Error("cannot read " + m_path + ": " + what);
}

}  // namespace kzjournal
