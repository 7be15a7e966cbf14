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

// ?1 is the number of the run, ?2 the last row that is known.
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
    const bool isFirst = m_lastRow == 0;
    const auto known = static_cast<std::ptrdiff_t>(m_entries.size());
    SQLite::Statement query(m_database, kNewSlices);
    SQLite::bind(query, m_run, static_cast<int64_t>(m_lastRow));
    while (query.executeStep()) Add(query);
    if (isFirst) CheckCount();
    // Time goes back where a pause of the generator ends.
    MergeNew(m_entries, known, IsEarlier);
    MergeNew(m_ids, known, std::less<>());
}

void Timeline::Add(SQLite::Statement& row) {
    const std::int64_t number = row.getColumn(0).getInt64();
    const std::optional<int> id = IdAt(row, 1);
    const std::optional<int> chunk = IdAt(row, 3);
    if (!id) ThrowDamaged("row " + std::to_string(number) + " of slices has no valid id");
    const bool isAtItsPlace = number > m_lastRow && row.getColumn(4).getInt64() == number &&
                              row.getColumn(5).getInt64() == number;
    if (!isAtItsPlace || !chunk || !IsMoment(row, 2))
        ThrowDamaged("slice " + std::to_string(*id) + " is damaged");
    m_lastRow = number;
    m_ids.push_back(*id);
    m_entries.push_back({row.getColumn(2).getDouble(), *id, *chunk});
}

/// The indexes have as many slices as the table.
void Timeline::CheckCount() {
    for (const char* const index : {"sqlite_autoindex_slices_1", "slices_by_time"}) {
        SQLite::Statement query(m_database, std::string("SELECT count(*) FROM slices INDEXED BY ") +
                                                index + " WHERE run_number = ?");
        query.bind(1, m_run);
        query.executeStep();
        if (query.getColumn(0).getInt64() != static_cast<std::int64_t>(m_entries.size()))
            ThrowDamaged("its slices are not all in " + std::string(index));
    }
}

void Timeline::ThrowDamaged(const std::string& what) const {
    throw Error("cannot read " + m_path + ": " + what);
}

}  // namespace kzjournal
